// What a router is doing, as the gateway shows it.
#pragma once

#include "packet_client.h"

#include <string>
#include <string_view>

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

struct state_and_reason {
    router_state state = router_state::no_driver;
    std::string reason; // one sentence; "" for `up`

    bool operator==(const state_and_reason&) const = default;
};

// What a whole picture says of its router: up, link_down or no_backend.
state_and_reason state_of(const vrdx::router_picture& picture);

// `sentence` with the text of a driver or backend behind it, which is cut to reason_text_limit.
std::string sentence_with(std::string_view sentence, std::string_view text);

} // namespace gateway
