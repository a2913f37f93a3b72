// What a peer may cost over HTTP: gateway/settings/limits.h, as one value that a test can make smaller.
#pragma once

#include "gateway/settings/limits.h"

#include <chrono>

namespace gateway {

struct http_limits {
    using duration = std::chrono::milliseconds;

    std::size_t connections = connections_limit;
    std::size_t connections_per_address = connections_per_address_limit;
    std::size_t waiting = waiting_limit;
    std::size_t waiting_per_address = waiting_per_address_limit;

    std::size_t head_bytes = header_bytes_limit;
    std::size_t bodies_bytes = bodies_bytes_limit;

    duration handshake{header_time_limit_ms};
    duration idle{idle_time_limit_ms};
    duration head{header_time_limit_ms};
    duration body{body_time_limit_ms};
    duration answering{answering_time_limit_ms};
    duration write_pause{answer_pause_limit_ms};
    duration write{answer_write_time_limit_ms};
    duration linger{linger_time_limit_ms};
    duration stopping{stopping_time_limit_ms};
    duration look{deadline_look_period_ms};

    std::size_t client_message_bytes = event_message_from_client_limit;
    std::size_t client_bytes_per_window = event_bytes_from_client_limit;
    duration client_window{event_client_window_ms};
    duration silence{event_silence_limit_ms};
    duration closing{event_close_time_limit_ms};
};

} // namespace gateway
