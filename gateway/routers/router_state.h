// What a router is doing, as the gateway shows it.
#pragma once

namespace gateway {

enum class router_state {
    up,         // the driver, its backend and the way to the router are there
    reading,    // connected; the whole picture is not read yet
    link_down,  // the backend does not reach its router, or has reported none
    no_backend, // the driver runs, its backend does not
    no_driver,  // nobody serves the router's socket
    stale,      // a driver is there, but is silent, or what it tells does not fit together
};

// "up", "reading", "link down", "no backend", "no driver", "stale".
const char* router_state_word(router_state state);

// True where the picture is what the driver shows now; else it is the last one that was read whole, or empty.
bool is_picture_true(router_state state);

} // namespace gateway
