// What "list" says about one router.
#pragma once

#include "client_picture.h"
#include "item_place.h"
#include "json_output.h"

#include <optional>
#include <string>
#include <vector>

struct router_line {
    std::string name;
    std::optional<bool> running; // empty: not known, because we may not connect
    std::optional<vrdx::router_picture> picture;
    std::vector<std::string> problems; // what is wrong, a short line each
};

// Asks the router's driver and returns the line, within `timeout_us`.
router_line look_at_known_router(const item_place& place, std::uint64_t timeout_us);

// The lines as a table, no wider than `width` (at least 40) columns.
std::string router_lines_table(const std::vector<router_line>& lines, std::size_t width, bool bold);

// {"name": "...", "running": true, "inputs": 16, "outputs": 8, "backend": "running", "link": "up",
// "waiting takes": 0, "last hour": {"asked": 5, ...}, "since start": {...}, "clients": 2, "uptime ms": 5000,
// "problems": ["..."], "last error": "..."}; "running" is null when it is not known, and all that the driver
// would have to tell when it does not.
json_object json_of_router_line(const router_line& line);
