#include "settings.h"

#include "whole_number.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

std::string_view without_outer_blanks(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Each of these reads one kind of value into its place; false, with the place untouched, when it is
// malformed.

bool read_number(std::string_view text, int lowest, int highest, int& place) {
    const std::optional<int> number = whole_number(without_outer_blanks(text));
    if (!number || *number < lowest || *number > highest) {
        return false;
    }
    place = *number;
    return true;
}

bool read_levels(std::string_view text, bool& split_levels) {
    const std::string_view levels = without_outer_blanks(text);
    if (!levels.empty() && levels != "video,audio") {
        return false;
    }
    split_levels = !levels.empty();
    return true;
}

bool read_output_list(std::string_view text, std::set<int>& place) {
    const std::string separators = std::string(blanks) + ",";
    std::set<int> outputs;
    auto begin = text.find_first_not_of(separators);
    while (begin != std::string_view::npos) {
        const auto end = std::min(text.find_first_of(separators, begin), text.size());
        int output = 0;
        if (!read_number(text.substr(begin, end - begin), 1, most_outputs, output)) {
            return false;
        }
        outputs.insert(output - 1);
        begin = text.find_first_not_of(separators, end);
    }
    place = std::move(outputs);
    return true;
}

bool read_state_file(const std::string& path, const std::string& item_path, std::string& place) {
    if (path.empty() || path.ends_with('/') || path.find('\n') != std::string::npos) {
        return false;
    }
    // A relative path counts from the item's directory: the program's own working directory is the driver's.
    const auto slash = item_path.rfind('/');
    const bool beside_item = !path.starts_with('/') && slash != std::string::npos;
    place = beside_item ? item_path.substr(0, slash + 1) + path : path;
    return true;
}

bool read_setting(simulator_settings& settings, const std::string& name, const std::string& value,
                  const std::string& item_path) {
    if (name == "simulated inputs") {
        return read_number(value, 1, most_inputs, settings.inputs);
    }
    if (name == "simulated outputs") {
        return read_number(value, 1, most_outputs, settings.outputs);
    }
    if (name == "simulated levels") {
        return read_levels(value, settings.split_levels);
    }
    if (name == "simulated delay ms") {
        return read_number(value, 0, longest_delay_ms, settings.delay_ms);
    }
    if (name == "simulated refuse outputs") {
        return read_output_list(value, settings.refused_outputs);
    }
    if (name == "simulated state file") {
        return read_state_file(value, item_path, settings.state_file);
    }
    return true; // somebody else's setting
}

void log_malformed(log_lines& log, const std::string& name, const std::string& value,
                   const char* consequence) {
    std::string text = "setting ";
    text.append(name).append(" = ").append(value).append(" is malformed, ").append(consequence);
    add_log_line(log, "ERR", text);
}

} // namespace

simulator_settings settings_from_item(const std::map<std::string, std::string>& values,
                                      const std::string& item_path, log_lines& log) {
    simulator_settings settings;
    for (const auto& [name, value] : values) {
        if (!read_setting(settings, name, value, item_path)) {
            log_malformed(log, name, value, "the default is used");
        }
    }
    return settings;
}

void change_setting(simulator_settings& settings, const std::string& name, const std::string& value,
                    log_lines& log) {
    if (name != "simulated delay ms" && name != "simulated refuse outputs") {
        return;
    }
    if (!read_setting(settings, name, value, "")) {
        log_malformed(log, name, value, "nothing is changed");
    }
}
