// All figures as one text, as far as a token may see them.
#pragma once

#include "gateway/access/token.h"
#include "gateway/metrics/take_figures.h"

#include <optional>
#include <vector>

namespace gateway {

// Of the gateway itself. Told to tokens that may see all routers: the figures are about all of them.
struct gateway_figures {
    struct history {
        bool up = false;           // it can be written
        std::uint64_t waiting = 0; // entries
        std::uint64_t lost = 0;    // entries, since the start
        std::uint64_t bytes = 0;   // of its file
    };
    struct exchange {
        bool up = false;                    // it goes well
        std::uint64_t unsent = 0, sent = 0; // entries of this site; the second since the start
        std::uint64_t unread = 0, read = 0; // entries of others at the broker; likewise
    };
    std::size_t connections = 0;
    std::size_t event_readers = 0;
    std::size_t event_queue_bytes = 0;         // of all readers
    std::size_t event_queue_longest_bytes = 0; // of the one that is furthest behind
    std::size_t open_requests = 0;             // to drivers
    std::size_t routers_beyond_limit = 0;      // that are not shown
    double started_s = 0;                      // since 1970
    std::optional<history> kept_history;       // none: no history is kept
    std::optional<exchange> exchanged_history; // none: it is not exchanged with other sites
    bool has_broker = false;                   // else nothing of other sites is told
};

struct metrics_wish {
    metrics_format format = metrics_format::plain;
    bool crosspoints = false;
};

// `now_us`: a monotonic_us() count.
std::string metrics_page(const token& who, const metrics_wish& wish,
                         const std::vector<const shown_router*>& routers, const take_figures& takes,
                         const gateway_figures& gateway, std::uint64_t now_us);

} // namespace gateway
