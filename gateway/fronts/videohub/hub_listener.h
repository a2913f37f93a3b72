// Accepts the connections of a Videohub server.
#pragma once

#include "gateway/fronts/videohub/hub_client.h"
#include "gateway/settings/listen_address.h"

#include <boost/asio/steady_timer.hpp>
#include <functional>

namespace gateway {

class hub_listener : public std::enable_shared_from_this<hub_listener> {
public:
    // `peer`: its address as numbers.
    using taker = std::function<void(hub_socket socket, const std::string& peer)>;
    using teller = std::function<void(const std::string& line)>;

    hub_listener(boost::asio::io_context& loop, taker take, teller tell);

    // What went wrong; "" when it listens.
    std::string begin(const listen_address& at);
    [[nodiscard]] unsigned short port() const;
    // Nothing is accepted or told from now on.
    void end();

private:
    void accept();
    void pause(const std::string& why);

    boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, boost::asio::io_context::executor_type>
        acceptor_;
    boost::asio::steady_timer pause_;
    taker take_;
    teller tell_;
    bool failed_ = false; // and told; until a connection is accepted again
};

} // namespace gateway
