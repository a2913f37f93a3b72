#include "item_settings.h"

#include "plain_text.h"

#include <optional>

namespace {

constexpr std::size_t longest_shown_value = 60; // bytes

} // namespace

item_setting number_setting(std::string_view name, int& place, int lowest, int highest, bool is_live) {
    const auto read = [&place, lowest, highest](std::string_view value) {
        const std::optional<int> number = whole_number(without_outer_blanks(value));
        const bool is_good = number && *number >= lowest && *number <= highest;
        place = is_good ? *number : place;
        return is_good;
    };
    return {name, read, is_live};
}

item_setting switch_setting(std::string_view name, bool& place) {
    const auto read = [&place](std::string_view value) {
        const std::string_view word = without_outer_blanks(value);
        const bool is_good = word == "yes" || word == "no";
        place = is_good ? word == "yes" : place;
        return is_good;
    };
    return {name, read, false};
}

item_setting text_setting(std::string_view name, std::string& place, bool is_live) {
    const auto read = [&place](std::string_view value) {
        const std::string_view text = without_outer_blanks(value);
        if (text.find('\n') != std::string_view::npos || text.find('\0') != std::string_view::npos) {
            return false;
        }
        place = text;
        return true;
    };
    return {name, read, is_live};
}

void read_settings(const item_settings& settings, const std::map<std::string, std::string>& values,
                   log_lines& log) {
    for (const item_setting& setting : settings) {
        const auto value = values.find(std::string(setting.name));
        if (value != values.end() && !setting.read(value->second)) {
            log_malformed(log, setting.name, value->second, "the default is used");
        }
    }
}

bool change_setting(const item_settings& settings, const std::string& name, const std::string& value,
                    log_lines& log) {
    for (const item_setting& setting : settings) {
        if (setting.name != name || !setting.is_live) {
            continue;
        }
        if (setting.read(value)) {
            return true;
        }
        log_malformed(log, name, value, "nothing is changed");
    }
    return false;
}

void log_malformed(log_lines& log, std::string_view name, std::string_view value,
                   std::string_view consequence) {
    std::string text = "setting ";
    text.append(name).append(" = ").append(value.substr(0, longest_shown_value));
    add_log_line(log, "ERR", text.append(" is malformed, ").append(consequence));
}
