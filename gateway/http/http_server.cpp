#include "http_connection.h"
#include "tls_files.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/steady_timer.hpp>

namespace gateway {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using error_code = boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds pause_after_failure{100}; // when no further connection can be had

} // namespace

// One address that is listened on.
class listener : public std::enable_shared_from_this<listener> {
public:
    explicit listener(std::shared_ptr<server_core> core)
        : core_(std::move(core)), acceptor_(core_->loop), pause_(core_->loop) {}

    std::string open(const tcp::endpoint& at) {
        error_code error;
        acceptor_.open(at.protocol(), error);
        if (!error)
            acceptor_.set_option(asio::socket_base::reuse_address(true), error);
        if (!error && at.address().is_v6())
            acceptor_.set_option(asio::ip::v6_only(true), error);
        if (!error)
            acceptor_.bind(at, error);
        if (!error)
            acceptor_.listen(accept_backlog, error);
        return error ? error.message() : "";
    }
    unsigned short port() const {
        error_code ignored;
        return acceptor_.local_endpoint(ignored).port();
    }
    void accept() {
        acceptor_.async_accept([self = shared_from_this()](error_code error, any_stream::socket accepted) {
            if (!self->acceptor_.is_open())
                return;
            if (error)
                self->wait(error);
            else {
                self->enter(std::move(accepted));
                self->accept();
            }
        });
    }
    void close() {
        error_code ignored;
        acceptor_.close(ignored);
        pause_.cancel();
    }

private:
    void enter(any_stream::socket accepted) {
        failed_ = false;
        error_code error;
        const std::string peer = accepted.remote_endpoint(error).address().to_string();
        if (error || !core_->crowd.make_room(peer))
            return;
        accepted.set_option(tcp::no_delay(true), error);
        const auto entered =
            std::make_shared<http_connection>(core_, any_stream(std::move(accepted), core_->tls), peer);
        core_->crowd.enter(entered, peer);
        entered->begin();
    }
    void wait(error_code why) {
        if (!std::exchange(failed_, true))
            core_->handlers.tell("No connection can be taken: " + why.message());
        pause_.expires_after(pause_after_failure);
        pause_.async_wait([self = shared_from_this()](error_code) {
            if (self->acceptor_.is_open())
                self->accept();
        });
    }

    std::shared_ptr<server_core> core_;
    asio::basic_socket_acceptor<tcp, any_stream::executor_type> acceptor_;
    asio::basic_waitable_timer<std::chrono::steady_clock, asio::wait_traits<std::chrono::steady_clock>,
                               any_stream::executor_type>
        pause_;
    bool failed_ = false; // and told; until a connection is taken again
};

// Looks at deadlines, and at the end of the server.
class deadline_look : public std::enable_shared_from_this<deadline_look> {
public:
    explicit deadline_look(std::shared_ptr<server_core> core) : core_(std::move(core)), timer_(core_->loop) {}

    void begin() {
        timer_.expires_after(core_->limits.look);
        timer_.async_wait([self = shared_from_this()](error_code error) {
            if (!error && !self->over_)
                self->look();
        });
    }
    void stop(std::function<void()> done) {
        done_ = std::move(done);
        end_ = connection::clock::now() + core_->limits.stopping;
        for (const auto& who : core_->crowd.all())
            who->finish();
        timer_.cancel();
        asio::post(core_->loop, [self = shared_from_this()] {
            if (!self->over_)
                self->look();
        });
    }
    void end() {
        over_ = true;
        timer_.cancel();
    }

private:
    void look() {
        const auto now = connection::clock::now();
        for (const auto& who : core_->crowd.all()) {
            if (now >= end_)
                who->cut();
            else
                who->look(now);
        }
        if (done_ && core_->crowd.size() == 0) {
            over_ = true;
            std::exchange(done_, nullptr)();
        } else {
            begin();
        }
    }

    std::shared_ptr<server_core> core_;
    asio::steady_timer timer_;
    std::function<void()> done_; // set: the server ends
    connection::clock::time_point end_ = connection::clock::time_point::max();
    bool over_ = false;
};

struct http_server::parts {
    std::shared_ptr<server_core> core;
    std::vector<std::shared_ptr<listener>> listeners;
    std::shared_ptr<deadline_look> looks;
};

http_server::http_server(asio::io_context& loop, http_handlers handlers, const http_limits& limits)
    : parts_(std::make_unique<parts>()) {
    parts_->core = std::make_shared<server_core>(loop, std::move(handlers), limits);
    parts_->looks = std::make_shared<deadline_look>(parts_->core);
    parts_->looks->begin();
}

http_server::~http_server() {
    parts_->looks->end();
    for (const auto& each : parts_->listeners)
        each->close();
    for (const auto& who : parts_->core->crowd.all())
        who->cut();
}

std::string http_server::read_tls_files(const tls_files& files) {
    if (files.certificate.empty()) {
        parts_->core->tls = nullptr;
        return "";
    }
    std::string problem;
    auto context = tls_context_of(files, &problem);
    if (context)
        parts_->core->tls = std::move(context);
    return problem;
}

void http_server::set_proxies(const std::vector<std::string>& addresses) {
    parts_->core->crowd.set_proxies(addresses);
}

std::string http_server::listen(const std::string& address, unsigned short port) {
    error_code error;
    const auto numeric = asio::ip::make_address(address, error);
    if (error)
        return "is no numeric address";
    const auto added = std::make_shared<listener>(parts_->core);
    std::string problem = added->open({numeric, port});
    if (!problem.empty())
        return problem;
    added->accept();
    parts_->listeners.push_back(added);
    return "";
}

unsigned short http_server::port(std::size_t at) const {
    return parts_->listeners.at(at)->port();
}

std::size_t http_server::connections() const {
    return parts_->core->crowd.size();
}

void http_server::stop(std::function<void()> done) {
    parts_->core->stopping = true;
    for (const auto& each : parts_->listeners)
        each->close();
    parts_->looks->stop(std::move(done));
}

} // namespace gateway
