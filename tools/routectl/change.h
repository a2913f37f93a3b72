// What changed between two looks at the driver.
#pragma once

#include "json_output.h"
#include "rollback.h"
#include "router_status.h"

#include <optional>
#include <string>
#include <vector>

struct watched_state {
    std::optional<router_status> router; // empty: no router
    bool connected = false;              // a backend program is connected
};

struct change {
    std::string line;   // for people, on one line
    json_object object; // the same for programs: "change" says what, then the number, "before" and "after"
};

// One change for each name, source, size and connection that differs, in this order: connection, size,
// inputs, outputs. What a router newly shows is a change from no name and no source; what it no longer shows
// is told by the size alone.
std::vector<change> changes_between(const watched_state& before, const watched_state& after);

// A take that the driver rolled back.
change rolled_back(const rollback& one);

// The driver came or went.
change driver_gone();
change driver_back();

// What is there at the beginning.
change watch_begins(const watched_state& state);
