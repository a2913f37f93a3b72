#include "gateway/routers/router_state.h"

namespace gateway {

const char* router_state_word(router_state state) {
    switch (state) {
    case router_state::up:
        return "up";
    case router_state::reading:
        return "reading";
    case router_state::link_down:
        return "link down";
    case router_state::no_backend:
        return "no backend";
    case router_state::no_driver:
        return "no driver";
    case router_state::stale:
        break;
    }
    return "stale";
}

bool is_picture_true(router_state state) {
    return state == router_state::up || state == router_state::link_down || state == router_state::no_backend;
}

} // namespace gateway
