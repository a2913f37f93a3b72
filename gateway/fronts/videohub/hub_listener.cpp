#include "gateway/fronts/videohub/hub_listener.h"

#include "gateway/settings/limits.h"

#include <boost/asio/ip/v6_only.hpp>
#include <utility>

namespace gateway {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr auto pause_after_failure = std::chrono::milliseconds(100); // descriptors may be free again by then

// Without the interface of a link-local one: that is ours, not theirs.
std::string address_of(const hub_socket& socket) {
    error_code error;
    asio::ip::address address = socket.remote_endpoint(error).address();
    if (error)
        return {};
    if (!address.is_v6())
        return address.to_string();
    asio::ip::address_v6 six = address.to_v6();
    six.scope_id(0);
    return six.to_string();
}

} // namespace

hub_listener::hub_listener(asio::io_context& loop, taker take, teller tell)
    : acceptor_(loop), pause_(loop), take_(std::move(take)), tell_(std::move(tell)) {}

std::string hub_listener::begin(const listen_address& at) {
    error_code error;
    const auto address = asio::ip::make_address(at.address, error);
    if (error)
        return "is no numeric address";
    const tcp::endpoint end(address, at.port);
    acceptor_.open(end.protocol(), error);
    if (!error)
        acceptor_.set_option(asio::socket_base::reuse_address(true), error);
    if (!error && address.is_v6())
        acceptor_.set_option(asio::ip::v6_only(true), error);
    if (!error)
        acceptor_.bind(end, error);
    if (!error)
        acceptor_.listen(accept_backlog, error);
    if (error)
        return error.message();
    accept();
    return {};
}

unsigned short hub_listener::port() const {
    error_code ignored;
    return acceptor_.local_endpoint(ignored).port();
}

void hub_listener::end() {
    error_code ignored;
    acceptor_.close(ignored);
    pause_.cancel();
    take_ = nullptr;
}

void hub_listener::accept() {
    acceptor_.async_accept([self = shared_from_this()](error_code error, hub_socket accepted) {
        if (!self->take_)
            return;
        if (error)
            return self->pause(error.message());
        self->failed_ = false;
        const std::string peer = address_of(accepted);
        if (!peer.empty())
            self->take_(std::move(accepted), peer);
        self->accept();
    });
}

void hub_listener::pause(const std::string& why) {
    if (!std::exchange(failed_, true))
        tell_("no connection can be taken: " + why);
    pause_.expires_after(pause_after_failure);
    pause_.async_wait([self = shared_from_this()](error_code) {
        if (self->take_)
            self->accept();
    });
}

} // namespace gateway
