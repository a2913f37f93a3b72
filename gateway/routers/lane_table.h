// The connections of all lanes to all drivers.
#pragma once

#include "gateway/routers/take_lane.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace gateway {

class lane_table {
public:
    explicit lane_table(boost::asio::io_context& loop) : loop_(loop) {}

    // The lane's way to the router, made when there is none; null when all connections are in use that are
    // there for this lane.
    take_lane* way(std::string_view router, const std::string& lane, const std::string& socket_path);

    void look_at_clock(std::uint64_t now);
    void driver_exchanged(std::string_view router, std::uint64_t socket_inode);
    void drop_lane(const std::string& lane, const std::string& why);
    void drop_all(const std::string& why);

    [[nodiscard]] std::size_t size() const {
        return ways_.size();
    }
    // Without an ending, of all lanes.
    [[nodiscard]] std::size_t open_requests() const;

private:
    using router_and_lane = std::pair<std::string, std::string>;
    [[nodiscard]] std::size_t ways_of(const std::string& lane) const;
    bool has_room_for(const std::string& lane) const;
    bool make_room(const std::string& lane, bool of_this_lane_alone);

    boost::asio::io_context& loop_;
    std::map<router_and_lane, std::unique_ptr<take_lane>> ways_;
};

} // namespace gateway
