// One look at a driver, and what is wrong there at a glance.
#pragma once

#include "driver_link.h"
#include "driver_report.h"
#include "item_facts.h"
#include "rollback.h"

#include <optional>
#include <string>
#include <vector>

enum class backend_state {
    connected,
    restarting, // one is wanted and none runs; the driver tries again every five seconds
    none,       // none is wanted
    unknown     // the driver did not say
};

struct router_look {
    std::optional<router_status> router; // empty: no router
    driver_report report;
    look_time time; // of the status
};

// Asks for the status and the report. exit_done, or why nothing is known; link->problem tells. An error in
// place of the report leaves it untold.
int look_at_router(driver_link* link, router_look* look);

// What the report and the item file say together. `item` is the path of the item file, empty when it is not
// known: then the notes in the report tell whether there ever was a backend.
backend_state backend_state_of(const driver_report& report, const std::string& item);

// "connected", "restarting", "none", "unknown"
const char* backend_state_name(backend_state state);

// What is wrong, a short line each, empty when nothing is: no backend and why, a backend that restarts, no
// router.
std::vector<std::string> problems_of(const router_look& look, const std::string& item);

// Looks five times a second for so long, and keeps the takes seen to be rolled back. exit_done, or why the
// driver stopped answering; link->problem tells.
int observe_rollbacks(driver_link* link, std::uint64_t duration_us, std::vector<rollback>* seen);

// "2 takes rolled back in 60 s: output 5 (9), output 7 (none)"; empty for none.
std::string rollbacks_text(const std::vector<rollback>& seen, std::uint64_t duration_us);
