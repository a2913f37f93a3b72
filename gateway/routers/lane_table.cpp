#include "gateway/routers/lane_table.h"

#include "gateway/routers/board_limits.h"

namespace gateway {

take_lane* lane_table::way(std::string_view router, const std::string& lane, const std::string& socket_path) {
    const std::pair key(std::string(router), lane);
    const auto found = ways_.find(key);
    if (found != ways_.end())
        return found->second.get();
    if (ways_.size() >= lane_connections_limit && !make_room())
        return nullptr;
    return ways_.emplace(key, std::make_unique<take_lane>(loop_, socket_path)).first->second.get();
}

// The one that is unused for the longest time goes.
bool lane_table::make_room() {
    auto oldest = ways_.end();
    for (auto each = ways_.begin(); each != ways_.end(); ++each)
        if (each->second->is_idle() &&
            (oldest == ways_.end() || each->second->used_us() < oldest->second->used_us()))
            oldest = each;
    if (oldest == ways_.end())
        return false;
    ways_.erase(oldest);
    return true;
}

void lane_table::look_at_clock(std::uint64_t now) {
    for (const auto& [key, way] : ways_)
        way->look_at_clock(now);
    const std::uint64_t unused_since = now > lane_idle_us ? now - lane_idle_us : 0;
    std::erase_if(ways_,
                  [unused_since](const auto& each) { return each.second->is_idle_since(unused_since); });
}

std::size_t lane_table::open_requests() const {
    std::size_t all = 0;
    for (const auto& [key, way] : ways_)
        all += way->open_requests();
    return all;
}

void lane_table::driver_exchanged(std::string_view router) {
    for (const auto& [key, way] : ways_)
        if (key.first == router)
            way->driver_exchanged();
}

void lane_table::drop_lane(const std::string& lane, const std::string& why) {
    std::erase_if(ways_, [&](const auto& each) {
        const bool its = each.first.second == lane;
        if (its)
            each.second->end_all(why);
        return its;
    });
}

void lane_table::drop_all(const std::string& why) {
    for (const auto& [key, way] : ways_)
        way->end_all(why);
    ways_.clear();
}

} // namespace gateway
