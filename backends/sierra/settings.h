// What the item file says about the router.
#pragma once

#include "item_settings.h"

struct sierra_settings {
    std::string address; // "address": host name or number; empty: not set
    int port = 10001;    // "port", 1..highest_port
    std::string device;  // "device": a serial line; if it is set, the address is not used; empty: not set
    int baud = 9600;     // "baud"
    int connect_timeout_ms = 3000; // "connect timeout ms", 1..longest_setting_ms
    int poll_ms = 5000;            // "poll ms", 1..longest_setting_ms: for a router that tells no changes
    std::string lock_password;     // "lock password": digits; empty: locks cannot be set
    std::string video_level;       // "video level": numbers or names of levels; empty: their names decide
    std::string audio_level;       // "audio level": likewise
    std::map<int, std::string> input_names;  // "input name N", N 1-based
    std::map<int, std::string> output_names; // "output name N", N 1-based

    bool operator==(const sierra_settings&) const = default;
};

enum class changed_part { nothing, line, levels, names, other };

// The settings in `values`, which were read from the item file. A malformed one is logged as an error and
// keeps its default.
sierra_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log);

// Sets one setting, and returns what has changed by it. A malformed value is logged as an error. It changes
// nothing, and neither does a name that is not ours, nor the value that the setting has already.
changed_part change_sierra_setting(sierra_settings& settings, const std::string& name,
                                   const std::string& value, log_lines& log);
