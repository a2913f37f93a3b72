#include "gateway/routers/lane_table.h"

#include "gateway/routers/board_limits.h"

#include <algorithm>

namespace gateway {

take_lane* lane_table::way(std::string_view router, const std::string& lane, const std::string& socket_path) {
    const router_and_lane which(std::string(router), lane);
    const auto found = ways_.find(which);
    if (found != ways_.end())
        return found->second.get();
    while (!has_room_for(lane)) {
        const bool crowded = ways_of(lane) < lane_connections_of_one_limit;
        if (!(crowded && make_room(lane, false)) && !make_room(lane, true))
            return nullptr;
    }
    return ways_.emplace(which, std::make_unique<take_lane>(loop_, socket_path)).first->second.get();
}

std::size_t lane_table::ways_of(const std::string& lane) const {
    return static_cast<std::size_t>(std::count_if(
        ways_.begin(), ways_.end(), [&lane](const auto& each) { return each.first.second == lane; }));
}

bool lane_table::has_room_for(const std::string& lane) const {
    const std::size_t left = lane_connections_limit - std::min(ways_.size(), lane_connections_limit);
    return ways_of(lane) < std::min(lane_connections_of_one_limit, left);
}

// The one that is unused for the longest time goes.
bool lane_table::make_room(const std::string& lane, bool of_this_lane_alone) {
    auto oldest = ways_.end();
    for (auto each = ways_.begin(); each != ways_.end(); ++each)
        if (each->second->is_idle() && (!of_this_lane_alone || each->first.second == lane) &&
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

void lane_table::driver_exchanged(std::string_view router, std::uint64_t socket_inode) {
    for (const auto& [key, way] : ways_)
        if (key.first == router)
            way->driver_exchanged(socket_inode);
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
