// The only source of the tools that knows of Beast and OpenSSL.
#include "gateway_client.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <optional>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using boost::system::error_code;
using std::chrono::milliseconds;

constexpr std::size_t reply_bytes_limit = 67108864; // of a body or an event, 64 MiB

// Everything here is asynchronous, because only such operations end at a deadline; `run` waits for them.
using plain_stream = beast::tcp_stream;
using tls_stream = beast::ssl_stream<plain_stream>;
constexpr bool compressed = false; // no gateway compresses events, and what could costs 200 KB

void run(asio::io_context* loop) {
    loop->restart();
    loop->run();
}

std::string reason_of(const error_code& error) {
    if (error == beast::error::timeout)
        return "no answer in time";
    if (error == http::error::end_of_stream || error == asio::error::eof ||
        error == asio::ssl::error::stream_truncated)
        return "the connection was closed";
    return error.message();
}

std::string url_of(const gateway_address& address) {
    return (address.tls ? "https://" : "http://") + host_header(address) + address.path;
}

std::string no_way(const gateway_address& address, const std::string& reason) {
    return "cannot reach the gateway " + url_of(address) + ": " + reason;
}

bool is_ip_address(const std::string& host) {
    error_code error;
    asio::ip::make_address(host, error);
    return !error;
}

bool connect(const gateway_access& access, asio::io_context* loop, plain_stream* stream,
             std::string* problem) {
    error_code error;
    tcp::resolver resolver(*loop);
    const auto found = resolver.resolve(access.address.host, access.address.port, error);
    if (!error) {
        stream->async_connect(found, [&error](error_code ended, const tcp::endpoint&) { error = ended; });
        run(loop);
    }
    if (!error)
        stream->socket().set_option(tcp::no_delay(true), error);
    if (error)
        *problem = no_way(access.address, reason_of(error));
    return !error;
}

bool prepare_tls(const gateway_access& access, asio::ssl::context* context, std::string* problem) {
    error_code error;
    context->set_verify_mode(asio::ssl::verify_peer);
    context->set_verify_callback(asio::ssl::host_name_verification(access.address.host));
    if (access.ca_file.empty())
        context->set_default_verify_paths(error);
    else
        context->load_verify_file(access.ca_file, error);
    if (error)
        *problem = "cannot use the certificates of " +
                   (access.ca_file.empty() ? "this system" : access.ca_file) + ": " + error.message();
    return !error;
}

bool shake_hands(const gateway_access& access, asio::io_context* loop, tls_stream* stream,
                 std::string* problem) {
    error_code error;
    if (!is_ip_address(access.address.host))
        SSL_set_tlsext_host_name(stream->native_handle(), access.address.host.c_str());
    stream->async_handshake(asio::ssl::stream_base::client, [&error](error_code ended) { error = ended; });
    run(loop);
    if (!error)
        return true;
    const long verdict = SSL_get_verify_result(stream->native_handle());
    *problem = no_way(access.address, verdict == X509_V_OK ? reason_of(error)
                                                           : std::string("its certificate is not trusted: ") +
                                                                 X509_verify_cert_error_string(verdict) +
                                                                 "; --ca FILE names who has signed it");
    return false;
}

// What every request carries.
template<typename message> void fill_in(const gateway_access& access, message* request) {
    request->set(http::field::host, host_header(access.address));
    request->set(http::field::user_agent, "vrdx_routectl");
    if (!access.token.empty())
        request->set(http::field::authorization, "Bearer " + access.token);
}

template<typename any_stream>
bool exchange(const gateway_access& access, asio::io_context* loop, any_stream* stream,
              const http::request<http::string_body>& request, gateway_reply* reply, bool* sent,
              std::string* problem) {
    error_code error;
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(reply_bytes_limit);
    *sent = true;
    http::async_write(*stream, request, [&](error_code failed, std::size_t) {
        error = failed;
        if (!failed || failed == asio::error::broken_pipe || failed == asio::error::connection_reset)
            http::async_read(*stream, buffer, parser,
                             [&error](error_code ended, std::size_t) { error = ended; });
    });
    run(loop);
    if (error) {
        *problem = no_way(access.address, reason_of(error));
        return false;
    }
    reply->status = parser.get().result_int();
    reply->body = std::move(parser.get().body());
    return true;
}

} // namespace

bool ask_gateway(const gateway_access& access, const std::string& method, const std::string& path,
                 const std::string& body, milliseconds wait, gateway_reply* reply, bool* sent,
                 std::string* problem) {
    *sent = false;
    asio::io_context loop{1};
    http::request<http::string_body> request;
    request.method_string(method);
    request.target(access.address.path + path);
    request.keep_alive(false);
    fill_in(access, &request);
    if (!body.empty())
        request.set(http::field::content_type, "application/json");
    request.body() = body;
    request.prepare_payload();

    plain_stream stream(loop);
    stream.expires_after(wait);
    if (!connect(access, &loop, &stream, problem))
        return false;
    if (!access.address.tls)
        return exchange(access, &loop, &stream, request, reply, sent, problem);
    asio::ssl::context context(asio::ssl::context::tls_client);
    if (!prepare_tls(access, &context, problem))
        return false;
    tls_stream secured(std::move(stream), context);
    return shake_hands(access, &loop, &secured, problem) &&
           exchange(access, &loop, &secured, request, reply, sent, problem);
}

struct gateway_events::stream {
    asio::io_context loop{1};
    asio::ssl::context context{asio::ssl::context::tls_client};
    std::optional<websocket::stream<plain_stream, compressed>> plain;
    std::optional<websocket::stream<tls_stream, compressed>> secured;
    beast::flat_buffer buffer;
    bool reads = false; // a read is under way
    std::optional<error_code> ended;

    // With whichever of the two there is.
    template<typename action> void with_stream(const action& what) {
        if (secured)
            what(*secured);
        else
            what(*plain);
    }
};

gateway_events::gateway_events(gateway_access access) : access_(std::move(access)) {}

gateway_events::~gateway_events() = default;

bool gateway_events::open(const std::string& path, milliseconds wait, gateway_reply* refused,
                          std::string* problem) {
    stream_ = std::make_unique<stream>();
    stream& all = *stream_;
    plain_stream connected(all.loop);
    connected.expires_after(wait);
    if (!connect(access_, &all.loop, &connected, problem))
        return false;
    if (access_.address.tls) {
        if (!prepare_tls(access_, &all.context, problem))
            return false;
        tls_stream secured(std::move(connected), all.context);
        if (!shake_hands(access_, &all.loop, &secured, problem))
            return false;
        all.secured.emplace(std::move(secured));
    } else {
        all.plain.emplace(std::move(connected));
    }
    websocket::response_type answer;
    std::optional<error_code> ended;
    all.with_stream([&](auto& socket) {
        beast::get_lowest_layer(socket).expires_never(); // from here on the WebSocket's own times count
        auto times = websocket::stream_base::timeout::suggested(beast::role_type::client);
        times.handshake_timeout = wait;
        socket.set_option(times);
        socket.read_message_max(reply_bytes_limit);
        socket.set_option(websocket::stream_base::decorator(
            [this](websocket::request_type& request) { fill_in(access_, &request); }));
        socket.async_handshake(answer, host_header(access_.address), access_.address.path + path,
                               [&ended](error_code error) { ended = error; });
    });
    // Not until the loop has nothing left to do: the timer of a handshake that was declined runs on.
    all.loop.restart();
    while (!ended)
        all.loop.run_one();
    if (!*ended)
        return true;
    if (*ended == websocket::error::upgrade_declined)
        *refused = {answer.result_int(), answer.body()};
    else
        *problem = no_way(access_.address, reason_of(*ended));
    return false;
}

gateway_events::heard gateway_events::next(std::string* event, milliseconds wait) {
    stream& all = *stream_;
    if (!all.reads && !all.ended)
        all.with_stream([&](auto& socket) {
            all.reads = true;
            socket.async_read(all.buffer, [&all](error_code error, std::size_t) {
                all.reads = false;
                if (error)
                    all.ended = error;
            });
        });
    const auto deadline = std::chrono::steady_clock::now() + wait;
    all.loop.restart();
    while (all.reads && all.loop.run_one_until(deadline) != 0) {
    }
    if (all.ended)
        return heard::ended;
    if (all.reads)
        return heard::nothing_yet;
    *event = beast::buffers_to_string(all.buffer.data());
    all.buffer.clear();
    return heard::event;
}
