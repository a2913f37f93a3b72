// What the gateway offers over HTTP: from a request to its answer.
#pragma once

#include "call.h"

namespace gateway {

class api {
public:
    explicit api(api_world& world) : world_(world) {}

    // For http_handlers.
    request_verdict begin(const request& asked);
    std::variant<reply, std::shared_ptr<event_source>> accept(const request& asked);

private:
    api_world& world_;
};

// The checks of each request's head, in their order: an answer that refuses it, or nothing and a call with
// route, parts and caller.
std::optional<reply> check_head(api_world& world, call* incoming);

// The checks of its body.
std::optional<reply> check_body(api_world& world, call* incoming);

} // namespace gateway
