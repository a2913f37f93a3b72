#include "settings.h"

#include "plain_text.h"
#include "router_limits.h"
#include "serial_line.h"

#include <algorithm>
#include <optional>

namespace {

bool read_baud(std::string_view text, int& place) {
    const std::optional<int> baud = whole_number(without_outer_blanks(text));
    if (!baud || !is_serial_speed(*baud)) {
        return false;
    }
    place = *baud;
    return true;
}

bool read_password(std::string_view value, std::string& place) {
    const std::string_view text = without_outer_blanks(value);
    if (text.size() > 16 || !std::all_of(text.begin(), text.end(), is_digit)) {
        return false;
    }
    place = text;
    return true;
}

item_settings table_for(sierra_settings& settings) {
    return {
        text_setting("address", settings.address, true),
        number_setting("port", settings.port, 1, highest_port, true),
        text_setting("device", settings.device, true),
        {"baud", [&](auto value) { return read_baud(value, settings.baud); }, true},
        number_setting("connect timeout ms", settings.connect_timeout_ms, 1, longest_setting_ms, true),
        number_setting("poll ms", settings.poll_ms, 1, longest_setting_ms, true),
        {"lock password", [&](auto value) { return read_password(value, settings.lock_password); }, true},
        text_setting("video level", settings.video_level, true),
        text_setting("audio level", settings.audio_level, true),
    };
}

// The number N, 1..most, of a setting "input name N"; nothing for another setting.
std::optional<int> number_behind(std::string_view name, std::string_view begin, int most) {
    if (!name.starts_with(begin)) {
        return std::nullopt;
    }
    const std::optional<int> number = whole_number(name.substr(begin.size()));
    return number && *number >= 1 && *number <= most ? number : std::nullopt;
}

void read_name(sierra_settings& settings, const std::string& name, const std::string& value) {
    if (const auto input = number_behind(name, "input name ", most_router_inputs)) {
        settings.input_names[*input] = value;
    } else if (const auto output = number_behind(name, "output name ", most_router_outputs)) {
        settings.output_names[*output] = value;
    }
}

changed_part difference(const sierra_settings& before, const sierra_settings& after) {
    if (before == after) {
        return changed_part::nothing;
    }
    if (before.input_names != after.input_names || before.output_names != after.output_names) {
        return changed_part::names;
    }
    if (before.video_level != after.video_level || before.audio_level != after.audio_level) {
        return changed_part::levels;
    }
    const bool is_other = before.poll_ms != after.poll_ms || before.lock_password != after.lock_password;
    return is_other ? changed_part::other : changed_part::line;
}

} // namespace

sierra_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log) {
    sierra_settings settings;
    read_settings(table_for(settings), values, log);
    for (const auto& [name, value] : values) {
        read_name(settings, name, value);
    }
    return settings;
}

changed_part change_sierra_setting(sierra_settings& settings, const std::string& name,
                                   const std::string& value, log_lines& log) {
    const sierra_settings before = settings;
    change_setting(table_for(settings), name, value, log);
    read_name(settings, name, value);
    return difference(before, settings);
}
