// All Videohub servers of the gateway.
#pragma once

#include "gateway/fronts/videohub/videohub_server.h"
#include "gateway/repeating.h"

namespace gateway {

class videohub_servers {
public:
    // `world` outlives them. While the loop still runs, end() comes before the destructor.
    videohub_servers(boost::asio::io_context& loop, hub_world& world);
    videohub_servers(const videohub_servers&) = delete;
    videohub_servers& operator=(const videohub_servers&) = delete;

    // Ends those that are not wished any more, begins those that are new; the others go on, with their
    // clients. Tells those it has begun. Returns what went wrong, a line each.
    std::vector<std::string> serve(const std::vector<videohub_settings>& wished);
    void end();

    void hear(const router_news& news);
    void lock_changed(const std::string& router, int output);

private:
    boost::asio::io_context& loop_;
    hub_world& world_;
    std::vector<std::shared_ptr<videohub_server>> servers_;
    repeating look_;
};

} // namespace gateway
