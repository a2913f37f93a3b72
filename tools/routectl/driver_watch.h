// Watching a driver as long as the command runs, also when the driver is started again.
#pragma once

#include "client_watch.h"
#include "driver_link.h"

#include <functional>

// Each returns false when nobody reads the output any more; then the watching ends.
struct watch_listener {
    // A packet came; the watch already has it.
    std::function<bool(const vrdx::router_watch& watch, const vrdx::watch_news& news)> news;
    std::function<bool()> gone; // no driver answers; connecting is tried again five times a second
    // A watch has begun again. `restarted`: the driver is a new one, which counts its changes and takes anew.
    std::function<bool(driver_link* link, bool restarted)> back;
};

// Begins to watch, with the first failure told on standard error. exit_done, or the exit code.
int begin_watching(driver_link* link, vrdx::router_watch* watch);

// Goes on until the listener returns false. Returns exit_refused then.
int go_on_watching(driver_link* link, vrdx::router_watch* watch, const watch_listener& listener);
