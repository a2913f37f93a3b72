#include "settings.h"

#include "replies.h"
#include "serial_line.h"
#include "whole_number.h"

#include <optional>
#include <string_view>

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

std::string without_outer_blanks(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return "";
    }
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

// The next functions read one kind of value into its place; false, with the place untouched, when it is
// malformed.

bool read_number(const std::string& text, int lowest, int highest, int& place) {
    const std::optional<int> number = whole_number(text);
    if (!number || *number < lowest || *number > highest) {
        return false;
    }
    place = *number;
    return true;
}

bool read_baud(const std::string& text, int& place) {
    const std::optional<int> baud = whole_number(text);
    if (!baud || !is_serial_speed(*baud)) {
        return false;
    }
    place = *baud;
    return true;
}

bool read_text(const std::string& text, std::string& place) {
    if (text.find('\n') != std::string::npos || text.find('\0') != std::string::npos) {
        return false;
    }
    place = text;
    return true;
}

// The number N, 1..most, of a setting "input name N"; nothing for another setting.
std::optional<int> number_behind(std::string_view name, std::string_view begin, int most) {
    if (!name.starts_with(begin)) {
        return std::nullopt;
    }
    const std::optional<int> number = whole_number(name.substr(begin.size()));
    return number && *number >= 1 && *number <= most ? number : std::nullopt;
}

struct setting_place {
    const char* name;
    changed_part part;
    bool (*read)(sierra_settings& settings, const std::string& value);
};

constexpr setting_place places[] = {
    {"address", changed_part::line, [](auto& s, auto& value) { return read_text(value, s.address); }},
    {"port", changed_part::line, [](auto& s, auto& value) { return read_number(value, 1, 65535, s.port); }},
    {"device", changed_part::line, [](auto& s, auto& value) { return read_text(value, s.device); }},
    {"baud", changed_part::line, [](auto& s, auto& value) { return read_baud(value, s.baud); }},
    {"connect timeout ms", changed_part::line,
     [](auto& s, auto& value) { return read_number(value, 1, 600000, s.connect_timeout_ms); }},
    {"video level", changed_part::levels,
     [](auto& s, auto& value) { return read_text(value, s.video_level); }},
    {"audio level", changed_part::levels,
     [](auto& s, auto& value) { return read_text(value, s.audio_level); }},
};

// False when the value is malformed.
bool read_setting(sierra_settings& settings, const std::string& name, const std::string& value,
                  changed_part& part) {
    for (const setting_place& place : places) {
        if (name == place.name) {
            part = place.part;
            return place.read(settings, without_outer_blanks(value));
        }
    }
    if (const auto input = number_behind(name, "input name ", most_router_inputs)) {
        part = changed_part::names;
        settings.input_names[*input] = value;
    } else if (const auto output = number_behind(name, "output name ", most_router_outputs)) {
        part = changed_part::names;
        settings.output_names[*output] = value;
    }
    return true; // perhaps somebody else's setting
}

void log_malformed(log_lines& log, const std::string& name, const std::string& value,
                   const char* consequence) {
    std::string text = "setting ";
    text.append(name).append(" = ").append(value.substr(0, 100)).append(" is malformed, ");
    add_log_line(log, "ERR", text.append(consequence));
}

} // namespace

sierra_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log) {
    sierra_settings settings;
    for (const auto& [name, value] : values) {
        changed_part part = changed_part::nothing;
        if (!read_setting(settings, name, value, part)) {
            log_malformed(log, name, value, "the default is used");
        }
    }
    return settings;
}

changed_part change_setting(sierra_settings& settings, const std::string& name, const std::string& value,
                            log_lines& log) {
    const sierra_settings before = settings;
    changed_part part = changed_part::nothing;
    if (!read_setting(settings, name, value, part)) {
        log_malformed(log, name, value, "nothing is changed");
    }
    return settings == before ? changed_part::nothing : part;
}
