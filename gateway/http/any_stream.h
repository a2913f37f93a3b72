// A connection's bytes, with or without TLS, as one type, so that what uses it needs no template.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core/role.hpp>

#include <memory>

namespace gateway {

class any_stream {
public:
    using executor_type = boost::asio::io_context::executor_type;
    using socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, executor_type>;
    using tls_stream = boost::asio::ssl::stream<socket&>;
    using error_code = boost::system::error_code;

    // Without TLS when `tls` is null.
    any_stream(socket accepted, std::shared_ptr<boost::asio::ssl::context> tls)
        : socket_(std::make_unique<socket>(std::move(accepted))), context_(std::move(tls)),
          tls_(context_ ? std::make_unique<tls_stream>(*socket_, *context_) : nullptr) {}

    executor_type get_executor() {
        return socket_->get_executor();
    }
    socket& raw() {
        return *socket_;
    }
    bool is_tls() const {
        return tls_ != nullptr;
    }

    template<typename handler> void async_handshake(handler&& done) {
        tls_->async_handshake(boost::asio::ssl::stream_base::server, std::forward<handler>(done));
    }

    template<typename buffers, typename handler> auto async_read_some(const buffers& into, handler&& done) {
        return boost::asio::async_initiate<handler, void(error_code, std::size_t)>(
            [this](auto then, const buffers& where) {
                if (tls_)
                    tls_->async_read_some(where, std::move(then));
                else
                    socket_->async_read_some(where, std::move(then));
            },
            done, into);
    }

    template<typename buffers, typename handler> auto async_write_some(const buffers& from, handler&& done) {
        return boost::asio::async_initiate<handler, void(error_code, std::size_t)>(
            [this](auto then, const buffers& what) {
                if (tls_)
                    tls_->async_write_some(what, std::move(then));
                else
                    socket_->async_write_some(what, std::move(then));
            },
            done, from);
    }

    // At once; what is under way ends with an error.
    void close() {
        error_code ignored;
        socket_->close(ignored);
    }
    // Says that nothing more comes from us.
    void end_writing() {
        error_code ignored;
        socket_->shutdown(socket::shutdown_send, ignored);
    }

private:
    std::unique_ptr<socket> socket_; // stays where it is when the stream moves
    std::shared_ptr<boost::asio::ssl::context> context_;
    std::unique_ptr<tls_stream> tls_;
};

// What a WebSocket asks of the stream below it when it ends.
inline void beast_close_socket(any_stream& stream) {
    stream.close();
}
inline void teardown(boost::beast::role_type, any_stream& stream, any_stream::error_code& error) {
    stream.end_writing();
    error = {};
}
template<typename handler> void async_teardown(boost::beast::role_type, any_stream& stream, handler&& done) {
    stream.end_writing();
    boost::asio::post(stream.get_executor(),
                      [then = std::forward<handler>(done)]() mutable { then(any_stream::error_code{}); });
}

} // namespace gateway
