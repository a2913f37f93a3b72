// Counts the decided takes that drivers tell of: as long as the gateway runs, and the router is there.
#pragma once

#include "gateway/metrics/metrics_text.h"
#include "gateway/routers/shown_router.h"

#include <map>

namespace gateway {

struct router_takes {
    static constexpr std::size_t words = static_cast<std::size_t>(vrdx::take_word::other) + 1;

    std::array<std::uint64_t, words> decided{}; // by vrdx::take_word
    std::uint64_t unheard = 0;                  // were decided as well, and not told
    duration_counts confirmed;                  // from the request to the confirmation
};

// As results of takes are called elsewhere: "confirmed", "replaced sent", ...
const char* result_text(vrdx::take_word word);

class take_figures {
public:
    void hear(const router_news& news);

    // Null: nothing was heard of that router.
    const router_takes* of(std::string_view router) const;

private:
    std::map<std::string, router_takes, std::less<>> routers_;
};

} // namespace gateway
