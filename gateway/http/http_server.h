// Serves HTTP/1.1 and WebSockets on any number of addresses, in the loop it is given. Knows nothing of what
// is served.
#pragma once

#include "event_source.h"
#include "http_limits.h"
#include "http_types.h"

#include <functional>
#include <memory>
#include <string>

namespace boost::asio {
class io_context;
}

namespace gateway {

struct http_handlers {
    // Called with the head of each request. A reply ends it; the body is not read then.
    std::function<request_verdict(const request&)> begin;
    // Called with each request that rightly asks for a WebSocket: what it is to be told, or a reply that
    // refuses.
    std::function<std::variant<reply, std::shared_ptr<event_source>>(const request&)> accept;
    // The reply to what never becomes a request: a status from 400 on and a sentence.
    std::function<reply(unsigned status, const std::string& sentence)> problem;
    // One line for the operator.
    std::function<void(const std::string&)> tell;
};

// Certificate chain and key, PEM files. Both empty: without TLS.
struct tls_files {
    std::string certificate;
    std::string key;
};

class http_server {
public:
    http_server(boost::asio::io_context& loop, http_handlers handlers, const http_limits& limits = {});
    ~http_server();
    http_server(const http_server&) = delete;
    http_server& operator=(const http_server&) = delete;

    // Reads the certificate and key for connections from now on. "", or what is wrong; the ones before stay
    // then.
    std::string read_tls_files(const tls_files& files);

    // Known proxies: no limits per address hold for them.
    void set_proxies(const std::vector<std::string>& addresses);

    // Listens on a numeric address ("127.0.0.1", "::1") and port (0: the kernel chooses); with TLS when there
    // is a certificate. "", or what is wrong.
    std::string listen(const std::string& address, unsigned short port);
    // The port that the listener number `at`, from 0, got.
    unsigned short port(std::size_t at) const;

    std::size_t connections() const;

    // Accepts no more connections, ends those that wait, lets begun answers be written for a while, closes
    // WebSockets, and calls `done` when none is left.
    void stop(std::function<void()> done);

private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

} // namespace gateway
