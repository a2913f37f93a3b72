// The client's end of a gateway: requests over HTTP, events over a WebSocket, with or without TLS. All of it
// waits, but never for longer than it is told.
#pragma once

#include "gateway_address.h"

#include <chrono>
#include <memory>
#include <string>

struct gateway_access {
    gateway_address address;
    std::string token;   // empty: asked without one
    std::string ca_file; // PEM; empty: the system's authorities decide whether a certificate is right
};

struct gateway_reply {
    unsigned status = 0; // 0: there was none
    std::string body;    // at most 64 MiB
};

// Sends one request on a connection of its own; `path` begins with "/api", a body is JSON. False with
// *problem in one line when there was no reply; *sent then says whether the gateway may have read the
// request.
bool ask_gateway(const gateway_access& access, const std::string& method, const std::string& path,
                 const std::string& body, std::chrono::milliseconds wait, gateway_reply* reply, bool* sent,
                 std::string* problem);

// A stream of events.
class gateway_events {
public:
    explicit gateway_events(gateway_access access);
    gateway_events(const gateway_events&) = delete;
    gateway_events& operator=(const gateway_events&) = delete;
    ~gateway_events();

    // Connects; what was open is closed. False with *problem, or with *refused when the gateway said no.
    bool open(const std::string& path, std::chrono::milliseconds wait, gateway_reply* refused,
              std::string* problem);

    enum class heard { event, nothing_yet, ended };
    // Waits for the next event. After `ended` nothing comes until it is opened again.
    heard next(std::string* event, std::chrono::milliseconds wait);

private:
    struct stream;
    gateway_access access_;
    std::unique_ptr<stream> stream_;
};
