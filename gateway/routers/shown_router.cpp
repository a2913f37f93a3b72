#include "gateway/routers/shown_router.h"

#include <chrono>

namespace gateway {

namespace {

std::uint64_t now_ms() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count());
}

} // namespace

void enter_state(shown_router* router, const state_and_reason& now) {
    if (now.state != router->state || router->since_ms == 0)
        router->since_ms = now_ms();
    router->state = now.state;
    router->reason = now.reason;
}

void note_sources(shown_router* router, const router_news& news) {
    if (news.whole)
        router->earlier.note_anew(router->picture);
    else
        for (const int output : news.places.outputs)
            router->earlier.note(router->picture, output);
}

} // namespace gateway
