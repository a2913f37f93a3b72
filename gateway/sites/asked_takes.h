// Takes and names that this site asks others for.
#pragma once

#include "far_site.h"

#include <boost/asio/io_context.hpp>

namespace gateway {

class asked_takes {
public:
    // Both outlive it.
    asked_takes(boost::asio::io_context& loop, far_surroundings& around, std::string own_site)
        : loop_(loop), around_(around), own_site_(std::move(own_site)) {}

    // As other_routers has them; `router` is its name at `site`.
    void take(const far_site& site, const std::string& router, const std::string& lane,
              const vrdx::take_order& order, bool all_or_nothing, take_done done);
    void rename(const far_site& site, const std::string& router, const std::string& lane,
                const name_ask& wish, take_done done);
    void drop_lane(const std::string& lane);

private:
    struct open_ask;
    bool begin(const far_site& site, const std::string& router, const std::string& lane, take_done* done);
    void send(const far_site& site, const std::string& subject, std::string text, std::uint64_t within_ms,
              const std::shared_ptr<open_ask>& ask);
    void end(const std::shared_ptr<open_ask>& ask, take_ending ending);
    void refuse(take_done done, take_ending ending);

    boost::asio::io_context& loop_;
    far_surroundings& around_;
    std::string own_site_;
    std::vector<std::shared_ptr<open_ask>> open_;
};

} // namespace gateway
