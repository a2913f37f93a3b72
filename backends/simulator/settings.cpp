#include "settings.h"

#include "plain_text.h"

#include <algorithm>
#include <optional>

namespace {

bool read_levels(std::string_view text, bool& split_levels) {
    const std::string_view levels = without_outer_blanks(text);
    if (!levels.empty() && levels != "video,audio") {
        return false;
    }
    split_levels = !levels.empty();
    return true;
}

bool read_output_list(std::string_view text, std::set<int>& place) {
    constexpr std::string_view separators = ", \t\r\n\v\f";
    std::set<int> outputs;
    auto begin = text.find_first_not_of(separators);
    while (begin != std::string_view::npos) {
        const auto end = std::min(text.find_first_of(separators, begin), text.size());
        const std::optional<int> output = whole_number(text.substr(begin, end - begin));
        if (!output || *output < 1 || *output > most_router_outputs) {
            return false;
        }
        outputs.insert(*output - 1);
        begin = text.find_first_not_of(separators, end);
    }
    place = std::move(outputs);
    return true;
}

bool read_state_file(std::string_view path, const std::string& item_path, std::string& place) {
    if (path.empty() || path.ends_with('/') || path.find('\n') != std::string::npos) {
        return false;
    }
    // A relative path counts from the item's directory: the program's own working directory is the driver's.
    const auto slash = item_path.rfind('/');
    const bool beside_item = !path.starts_with('/') && slash != std::string::npos;
    place = (beside_item ? item_path.substr(0, slash + 1) : "").append(path);
    return true;
}

item_settings table_for(simulator_settings& settings, const std::string& item_path) {
    return {
        number_setting("simulated inputs", settings.inputs, 1, most_router_inputs),
        number_setting("simulated outputs", settings.outputs, 1, most_router_outputs),
        {"simulated levels", [&](auto value) { return read_levels(value, settings.split_levels); }},
        number_setting("simulated delay ms", settings.delay_ms, 0, longest_delay_ms, true),
        switch_setting("simulated salvo", settings.whole_salvos),
        {"simulated refuse outputs",
         [&](auto value) { return read_output_list(value, settings.refused_outputs); }, true},
        {"simulated state file",
         [&](auto value) { return read_state_file(value, item_path, settings.state_file); }},
    };
}

} // namespace

simulator_settings settings_from_item(const std::map<std::string, std::string>& values,
                                      const std::string& item_path, log_lines& log) {
    simulator_settings settings;
    read_settings(table_for(settings, item_path), values, log);
    return settings;
}

void change_simulator_setting(simulator_settings& settings, const std::string& name, const std::string& value,
                              log_lines& log) {
    change_setting(table_for(settings, ""), name, value, log);
}
