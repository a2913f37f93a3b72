// A router as everybody sees it, and what is told when that changes.
#pragma once

#include "gateway/routers/driver_figures.h"
#include "gateway/routers/earlier_sources.h"
#include "gateway/routers/router_state.h"
#include "packet_client.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

// Read by everybody, written by gateway/routers alone. Texts are bytes as the file system, the driver and its
// backend have them: perhaps no UTF-8, perhaps with control characters.
struct shown_router {
    std::string name; // "SITE:ROUTER" for one of another site
    std::string site; // "" for one of this host
    router_state state = router_state::no_driver;
    std::string reason; // why it is not `up`, in one sentence; "" while it is
    // Since when it has this state as the gateway sees it, in milliseconds since 1970; at the earliest since
    // the router appeared here.
    std::uint64_t since_ms = 0;
    // The last whole picture, true now where is_picture_true(state). Empty (`epoch` is "") before the first
    // one.
    vrdx::router_picture picture;
    earlier_sources earlier;
    // What the driver noted as an error last; none: nothing, or nobody knows. A change of it is no new
    // version.
    std::optional<vrdx::driver_message> last_error;
    // Rises when anything else above changes, except the picture's `last_take` and what only descriptions
    // tell. Never goes back while the gateway lives, also when the router goes and comes again; from 1, not
    // without gaps.
    std::uint64_t version = 0;

    // Of the way to its driver; nobody is told when they change.
    std::uint64_t connections = 0; // on which the driver began to tell, since the router appeared
    std::uint64_t heard_us = 0;    // when it said something last, a monotonic_us() count; 0: never
    // As it told them when it was asked last; none once that connection has ended.
    std::optional<driver_figures> figures;
};

// What has just changed. It and the router are valid during the call.
struct router_news {
    const shown_router* router = nullptr;
    bool appeared = false;      // it was not there before
    bool gone = false;          // neither item nor socket is left; told for the last time
    bool state_changed = false; // the state or its reason
    bool last_error_changed = false;
    bool whole = false; // the picture began anew or changed its size: `places` does not tell all of it
    vrdx::picture_news places;
    std::vector<vrdx::take_record> takes; // decided takes, also those of other programs
    std::uint64_t takes_lost = 0;         // how many more were decided and are not told
    std::string takes_epoch;              // whose numbers they have; perhaps not yet that of the picture
    // The driver tells of takes from now on: number of the newest that was decided before, 0 for none.
    std::optional<std::uint64_t> record_began;
};

// The router has this state from now on, or still.
void enter_state(shown_router* router, const state_and_reason& now);
// The picture has just changed as the news say: what is confirmed of it is noted in `earlier`.
void note_sources(shown_router* router, const router_news& news);

} // namespace gateway
