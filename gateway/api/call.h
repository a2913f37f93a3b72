// A request on its way through the gateway, and what its handler works with.
#pragma once

#include "event_hub.h"
#include "gateway/access/access_store.h"
#include "gateway/access/idempotency.h"
#include "gateway/access/login_limits.h"
#include "gateway/access/write_rates.h"
#include "gateway/http/http_types.h"
#include "gateway/layouts/layout_store.h"
#include "gateway/metrics/scrape_desk.h"
#include "gateway/presets/preset_store.h"
#include "gateway/presets/recall_desk.h"
#include "gateway/routers/router_board.h"
#include "gateway/settings/settings.h"
#include "gateway/takes/take_desk.h"

namespace gateway {

class history_keeper;

// Everything there is. All of it outlives the requests.
struct api_world {
    settings now; // replaced when the configuration was read anew
    router_board& routers;
    access_store& access;
    lock_table& locks;
    login_limits& logins;
    write_rates& writes;
    idempotency_table& keys;
    picture_shelf& pictures;
    event_hub& events;
    take_desk& takes;
    history_keeper& history;
    scrape_desk& metrics;
    preset_store& presets;
    recall_desk& recalls;
    layout_store& layouts;
    shared_text document; // OpenAPI
    // Calls `act` after so many milliseconds.
    std::function<void(std::uint64_t ms, std::function<void()> act)> later;
};

struct route;

enum class credential { none, bearer, cookie };

struct call {
    request asked;
    const route* row = nullptr;
    std::vector<std::string> parts;   // what stands for each {...} of the row's path
    std::shared_ptr<const token> who; // null on public routes
    credential by = credential::none;
    std::int64_t session = 0; // of a cookie
    bool session_is_kept = false;
    std::string body_text;
    json body;

    // The router that `parts` names, where the path has one. Null once it is gone.
    const shown_router* router(const api_world& world) const {
        return world.routers.find(parts.at(0));
    }
};

using handler = void (*)(api_world& world, const std::shared_ptr<call>& incoming,
                         const answer_function& answer);

} // namespace gateway
