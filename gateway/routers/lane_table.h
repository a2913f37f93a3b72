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

    // The lane's way to the router, made when there is none; null when all lane_connections_limit are in use.
    take_lane* way(std::string_view router, const std::string& lane, const std::string& socket_path);

    void look_at_clock(std::uint64_t now);
    void driver_exchanged(std::string_view router);
    void drop_lane(const std::string& lane, const std::string& why);
    void drop_all(const std::string& why);

    [[nodiscard]] std::size_t size() const {
        return ways_.size();
    }
    // Without an ending, of all lanes.
    [[nodiscard]] std::size_t open_requests() const;

private:
    bool make_room();

    boost::asio::io_context& loop_;
    std::map<std::pair<std::string, std::string>, std::unique_ptr<take_lane>> ways_; // by router and lane
};

} // namespace gateway
