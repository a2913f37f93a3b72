// The simulator as a whole, and what it wants done about a message. No input or output behind this: the main
// loop sends, prints and saves what a reaction asks for.
#pragma once

#include "log_lines.h"
#include "message.h"
#include "settings.h"
#include "simulated_router.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct simulator {
    simulator_settings settings;
    simulated_router router;
    std::vector<crosspoint_take> collected; // takes that wait for their flush
    std::multimap<std::uint64_t, std::vector<crosspoint_take>>
        flushes; // under way, by due time in microseconds
};

struct reaction {
    std::vector<TavrixAPIRouterMessage> reports; // for the driver, in this order
    log_lines log;
    bool router_changed = false; // routing or names: the state file is out of date
};

void warn(reaction& reaction, const std::string& text);

// The field's value; empty when there is no such field.
const std::string& message_field(const TavrixAPIRouterMessage& message, const std::string& name);

// An input or output as people count, from 1.
std::string shown_number(int number);
