// What "list" says about one router.
#pragma once

#include "item_place.h"
#include "json_output.h"
#include "router_look.h"

#include <optional>
#include <string>
#include <vector>

struct router_line {
    std::string name;
    std::optional<bool> running; // empty: not known, because we may not connect
    backend_state backend = backend_state::unknown;
    std::optional<router_status> router;
    std::vector<std::string> problems; // what is wrong, a short line each
    std::string last_error;            // the driver's newest, empty for none
    std::vector<rollback> rollbacks;   // seen while observing
};

// Looks at the router and gives its line, within `timeout_us` and the time of observing.
router_line look_at_known_router(const item_place& place, std::uint64_t timeout_us, std::uint64_t observe_us);

// The lines as a table, no wider than `width` (at least 40) columns.
std::string router_lines_table(const std::vector<router_line>& lines, std::size_t width, bool bold);

// {"name": "...", "running": true, "inputs": 16, "outputs": 8, "backend": "connected", "problems": ["..."],
// "last error": "...", "rollbacks": [...]}; "running" is null when it is not known, the size when there is no
// router, and "backend" when the driver did not say.
json_object json_of_router_line(const router_line& line);
