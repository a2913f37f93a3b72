// Notices that a locked output shows something else than it did: switched from a panel, or by a program of
// this machine that asks the driver itself.
#pragma once

#include "event_texts.h"

#include <deque>

namespace gateway {

class lock_alarms {
public:
    static constexpr std::size_t allowed_limit = 65536; // takes that are remembered at a time; older ones go

    // Told what a locked output shows from now on; it is to be kept with its lock.
    using shown_listener =
        std::function<void(const std::string& router, int output, const locked_sources& now)>;
    explicit lock_alarms(shown_listener keep = {}) : keep_(std::move(keep)) {}

    // What the news about this router mean for its locked outputs. Sources count once the router has
    // confirmed them. An output that is seen for the first time is held against what its lock was kept with.
    std::vector<lock_alarm> of(const shown_router& router, const router_locks* locks, std::uint64_t now_ms);

    // From now on the output is watched, from what it shows; or no longer. What is known of one that was
    // locked before stays.
    void lock_changed(const shown_router& router, int output, bool is_locked);

    // Sources that an allowed take may bring to these outputs. They are kept for outputs without a lock, too:
    // a lock may come before the news of a take that was sent ahead of it.
    void takes_begin(const std::string& router, const std::vector<vrdx::output_take>& takes,
                     std::uint64_t now_ms);

private:
    struct watched {
        vrdx::level_sources shown; // levels unknown so far are source_unknown
    };
    using output_place = std::pair<std::string, int>; // router, output
    struct allowance {
        vrdx::level_sources sources;
        std::uint64_t until_ms = 0;
    };
    struct allowance_end {
        output_place place;
        std::uint64_t until_ms = 0;
    };
    bool is_allowed(const std::string& router, int output, const vrdx::level_sources& now,
                    std::uint64_t now_ms) const;

    shown_listener keep_;
    std::map<std::string, std::map<int, watched>> routers_; // by name, by output
    std::map<output_place, allowance> allowed_;             // of outputs that are free, too
    std::deque<allowance_end> allowed_order_;               // the oldest first; no more than allowed_limit
};

} // namespace gateway
