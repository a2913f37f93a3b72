#include "settings.h"

#include "whole_number.h"

#include <optional>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";
constexpr int longest_ms = 600000;
constexpr int highest_port = 65535;

std::string_view without_outer_blanks(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

struct number_setting {
    std::string_view name;
    int videohub_settings::*place;
    int highest; // the lowest is 1
    bool live;   // may change while the program runs
};

constexpr number_setting number_settings[] = {
    {"port", &videohub_settings::port, highest_port, true},
    {"connect timeout ms", &videohub_settings::connect_timeout_ms, longest_ms, true},
    {"videohub ping ms", &videohub_settings::ping_ms, longest_ms, false},
    {"videohub silence ms", &videohub_settings::silence_ms, longest_ms, false},
    {"videohub answer ms", &videohub_settings::answer_ms, longest_ms, false},
    {"videohub reconnect ms", &videohub_settings::reconnect_ms, longest_ms, false},
};

const number_setting* find_number_setting(std::string_view name) {
    for (const number_setting& setting : number_settings) {
        if (setting.name == name) {
            return &setting;
        }
    }
    return nullptr;
}

// The number; nothing, with an error in the log, when the value is malformed.
std::optional<int> read_number(const number_setting& setting, const std::string& value,
                               const char* consequence, log_lines& log) {
    const std::optional<int> number = whole_number(without_outer_blanks(value));
    if (number && *number >= 1 && *number <= setting.highest) {
        return number;
    }
    std::string text = "setting ";
    text.append(setting.name).append(" = ").append(value.substr(0, longest_quoted));
    text.append(" is malformed, ").append(consequence);
    add_log_line(log, "ERR", text);
    return std::nullopt;
}

} // namespace

videohub_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log) {
    videohub_settings settings;
    for (const auto& [name, value] : values) {
        if (name == "address") {
            settings.address = without_outer_blanks(value);
        } else if (const number_setting* const setting = find_number_setting(name)) {
            settings.*setting->place =
                read_number(*setting, value, "the default is used", log).value_or(settings.*setting->place);
        }
    }
    return settings;
}

bool change_setting(videohub_settings& settings, const std::string& name, const std::string& value,
                    log_lines& log) {
    if (name == "address") {
        const std::string before = std::exchange(settings.address, std::string(without_outer_blanks(value)));
        return settings.address != before;
    }
    const number_setting* const setting = find_number_setting(name);
    if (setting == nullptr || !setting->live) {
        return false;
    }
    const std::optional<int> number = read_number(*setting, value, "nothing is changed", log);
    return number && std::exchange(settings.*setting->place, *number) != *number;
}
