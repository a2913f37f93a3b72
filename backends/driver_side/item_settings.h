// Settings of the item file that are one value each: read at the start, and again when the driver says that
// one has changed.
#pragma once

#include "log_lines.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct item_setting {
    std::string_view name;
    std::function<bool(std::string_view value)>
        read;             // stores the value; false, and nothing stored: malformed
    bool is_live = false; // may change while the program runs
};

using item_settings = std::vector<item_setting>;

// A number from `lowest` to `highest`, "yes" or "no", and a text of one line. Blanks around them are ignored.
// `place` is where the value is stored; it must live as long as the setting.
item_setting number_setting(std::string_view name, int& place, int lowest, int highest, bool is_live = false);
item_setting switch_setting(std::string_view name, bool& place);
item_setting text_setting(std::string_view name, std::string& place, bool is_live = false);

// Reads those of `settings` that are in `values`. A malformed value is logged as an error, and the default
// stays.
void read_settings(const item_settings& settings, const std::map<std::string, std::string>& values,
                   log_lines& log);

// Reads a setting that has changed. False, and nothing changed, when it is none of these, is not live, or is
// malformed, which is logged as an error.
bool change_setting(const item_settings& settings, const std::string& name, const std::string& value,
                    log_lines& log);

void log_malformed(log_lines& log, std::string_view name, std::string_view value,
                   std::string_view consequence);

constexpr int highest_port = 65535;
constexpr int longest_setting_ms = 600000;
