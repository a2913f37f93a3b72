// What the item file says about the simulated router.
#pragma once

#include "item_settings.h"
#include "router_limits.h"

#include <map>
#include <set>
#include <string>

constexpr int longest_delay_ms = 60000;

struct simulator_settings {
    int inputs = 16;           // "simulated inputs", 1..most_router_inputs
    int outputs = 16;          // "simulated outputs", 1..most_router_outputs
    bool split_levels = false; // "simulated levels" is "video,audio"
    int delay_ms = 0;          // "simulated delay ms", 0..longest_delay_ms: from a flush to its takes
    bool whole_salvos = true;  // "simulated salvo", yes or no: a salvo may come in one message
    std::set<int>
        refused_outputs;    // "simulated refuse outputs": these never switch; 0-based (1-based in the file)
    std::string state_file; // "simulated state file"; empty: nothing is kept across restarts
};

// The settings in `values`, which were read from the item file `item_path`. A malformed one is logged as an
// error and keeps its default.
simulator_settings settings_from_item(const std::map<std::string, std::string>& values,
                                      const std::string& item_path, log_lines& log);

// Accepts a setting that changed while the router runs; only the delay and the refused outputs can. A
// malformed value is logged as an error and changes nothing.
void change_simulator_setting(simulator_settings& settings, const std::string& name, const std::string& value,
                              log_lines& log);
