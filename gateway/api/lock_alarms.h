// Notices that a locked output shows something else than it did: switched from a panel, or by a program of
// this machine that asks the driver itself.
#pragma once

#include "event_texts.h"

namespace gateway {

class lock_alarms {
public:
    // Told what a locked output shows from now on; it is to be kept with its lock.
    using shown_listener =
        std::function<void(const std::string& router, int output, const locked_sources& now)>;
    explicit lock_alarms(shown_listener keep = {}) : keep_(std::move(keep)) {}

    // What the news about this router mean for its locked outputs. Sources count once the router has
    // confirmed them. An output that is seen for the first time is held against what its lock was kept with.
    std::vector<lock_alarm> of(const shown_router& router, const router_locks* locks, std::uint64_t now_ms);

    // From now on the output is watched, from what it shows; or no longer.
    void lock_changed(const shown_router& router, int output);

    // Sources that these outputs may come to show: those who ask may take there.
    void takes_begin(const std::string& router, const std::vector<vrdx::output_take>& takes,
                     std::uint64_t now_ms);

private:
    struct watched {
        vrdx::level_sources shown; // levels unknown so far are source_unknown
        vrdx::level_sources allowed;
        std::uint64_t allowed_until_ms = 0;
    };
    shown_listener keep_;
    std::map<std::string, std::map<int, watched>> routers_; // by name, by output
};

} // namespace gateway
