// The least that an HTTP server of the same library does: it answers each request with the same body.
//
//   vrdx_bench_beast BYTES     tells its port on descriptor 3
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

class session : public std::enable_shared_from_this<session> {
public:
    session(tcp::socket socket, const std::string& body) : socket_(std::move(socket)) {
        response_.set(http::field::content_type, "application/json");
        response_.body() = body;
        response_.prepare_payload();
    }
    void read() {
        request_ = {};
        http::async_read(socket_, buffer_, request_,
                         [self = shared_from_this()](boost::system::error_code error, std::size_t) {
                             if (!error)
                                 self->write();
                         });
    }

private:
    void write() {
        http::async_write(socket_, response_,
                          [self = shared_from_this()](boost::system::error_code error, std::size_t) {
                              if (!error)
                                  self->read();
                          });
    }

    tcp::socket socket_;
    boost::beast::flat_buffer buffer_;
    http::request<http::string_body> request_;
    http::response<http::string_body> response_;
};

void accept(tcp::acceptor& acceptor, const std::string& body) {
    acceptor.async_accept([&](boost::system::error_code error, tcp::socket socket) {
        if (error)
            return;
        socket.set_option(tcp::no_delay(true));
        std::make_shared<session>(std::move(socket), body)->read();
        accept(acceptor, body);
    });
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 1;
    const std::string body(std::strtoul(argv[1], nullptr, 10), 'x');
    asio::io_context loop(1);
    tcp::acceptor acceptor(loop, {asio::ip::address_v4::loopback(), 0});
    const std::string port = std::to_string(acceptor.local_endpoint().port()) + "\n";
    if (write(3, port.data(), port.size()) != static_cast<ssize_t>(port.size()))
        return 1;
    close(3);
    accept(acceptor, body);
    loop.run();
}
