// Watching a driver for as long as the command runs, through its restarts.
#pragma once

#include "client_watch.h"
#include "driver_link.h"

#include <functional>

// Each gives false when nobody can read on; then the watching ends.
struct watch_listener {
    // A packet came; the watch already has it.
    std::function<bool(const vrdx::router_watch& watch, const vrdx::watch_news& news)> news;
    std::function<bool()> gone; // nobody answers; it is tried again five times a second
    // A watch has begun again; `restarted`: with a new driver, whose numbers have nothing to do with the old.
    std::function<bool(driver_link* link, bool restarted)> back;
};

// Begins to watch, with the first failure told on standard error. exit_done, or the exit code.
int begin_watching(driver_link* link, vrdx::router_watch* watch);

// Goes on for ever, or until the listener cannot. exit_refused then.
int go_on_watching(driver_link* link, vrdx::router_watch* watch, const watch_listener& listener);
