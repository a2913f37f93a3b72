// Who asks: the host he thinks he talks to, the token or session he shows, the page that made his browser
// ask.
#pragma once

#include "call.h"

namespace gateway {

constexpr const char* session_cookie = "vrdx_session";

// "" when the Host header names one that the settings know; else a sentence with those that are possible.
std::string host_problem(const settings& now, const request& asked);

// The address of whoever asks, as inet_ntop() writes it: behind a known proxy the last one in X-Forwarded-For
// that is no proxy itself.
std::string caller_address(const settings& now, const request& asked);

// What the Origin of our own pages is, as the caller sees it: "https://host:port".
std::string own_origin(const settings& now, const request& asked);

// The value of the session's cookie; "" without one.
std::string_view session_text(const request& asked);

// Fills `who`, `by` and `session` of the call. False when it shows a token that is none.
bool find_caller(api_world& world, call* incoming);

} // namespace gateway
