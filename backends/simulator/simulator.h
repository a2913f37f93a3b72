// The simulated router and its driver. Nothing here reads or writes: the main loop sends, prints and saves.
#pragma once

#include "driver_side.h"
#include "settings.h"
#include "simulated_router.h"

#include <cstdint>
#include <map>

struct delayed_takes {
    endpoint_takes takes;
    std::uint64_t expires_us = never_expires;
};

struct simulator {
    simulator_settings settings;
    simulated_router router;
    driver_side driver;
    std::multimap<std::uint64_t, delayed_takes> delayed; // by due time, microseconds
    bool router_changed = false;                         // routing or names: the state file is out of date
};

// Tells the driver the size, the names and the routing.
void announce_router(simulator& simulator);

// Handles one message from the driver, at the time `now` (microseconds, monotonic).
void handle_message(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now);

// Switches these when the router's delay is over, which may be at once.
void switch_takes(simulator& simulator, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now);

// Switches what is due at `now`, the earliest first, and reports each batch in one message.
void run_due_takes(simulator& simulator, std::uint64_t now);

// When the next batch is due; the largest number when none is under way.
std::uint64_t next_due_time(const simulator& simulator);
