#include "rollback.h"

namespace {

constexpr std::uint64_t confirmation_us = 1000000;    // what the driver allows
constexpr std::uint64_t latest_rollback_us = 1250000; // a busy driver rolls back a little later

// True when `back` may have followed `change` after just the time that a confirmation has.
bool is_in_time(const source_change& change, std::uint64_t earliest, std::uint64_t latest) {
    const std::uint64_t least = earliest > change.latest ? earliest - change.latest : 0;
    const std::uint64_t most = latest - change.earliest;
    return least <= latest_rollback_us && most >= confirmation_us;
}

} // namespace

std::vector<rollback> rollbacks_seen(rollback_tracker* tracker, const std::optional<router_status>& shown,
                                     look_time now) {
    std::vector<rollback> seen;
    const bool comparable =
        shown && tracker->shown && shown->outputs.size() == tracker->shown->outputs.size();
    if (!comparable)
        tracker->changes.clear();
    for (std::size_t i = 0; comparable && i < shown->outputs.size(); ++i) {
        const crosspoint& before = tracker->shown->outputs[i].source;
        const crosspoint& after = shown->outputs[i].source;
        if (before == after)
            continue;
        const auto earlier = tracker->changes.find(i);
        const bool back = earlier != tracker->changes.end() && earlier->second.before == after &&
                          is_in_time(earlier->second, tracker->last.asked, now.answered);
        if (back) {
            seen.push_back({i + 1, before, after});
            tracker->changes.erase(earlier);
        } else {
            tracker->changes[i] = {before, tracker->last.asked, now.answered};
        }
    }
    tracker->shown = shown;
    tracker->last = now;
    return seen;
}
