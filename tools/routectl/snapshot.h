// A snapshot of all crosspoints, as a text to be kept.
//
// {"format": "vrdx crosspoints", "version": 1, "inputs": 16, "outputs": 16,
//  "crosspoints": [{"output": 1, "audio": 3, "video": 3}, ...]}
// Numbers start at 1; source 0 is "no source". There is one crosspoint for each output, in any order.
#pragma once

#include "route_argument.h"
#include "router_status.h"

#include <optional>
#include <string>
#include <vector>

struct snapshot {
    int inputs = 0;
    int outputs = 0;
    std::vector<take> takes; // one for each output
};

snapshot snapshot_of(const router_status& status);
std::string snapshot_text(const snapshot& one);

// Reads a snapshot. Empty when `text` is none, or is damaged; *error then says in one line what is wrong.
std::optional<snapshot> parse_snapshot(const std::string& text, std::string* error);

// Why the snapshot cannot be brought back on this router, in one line; empty when it can.
std::string misfit(const snapshot& one, const router_status& status);
