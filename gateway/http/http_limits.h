// What a peer may cost over HTTP. Times are seconds.
#pragma once

#include <chrono>
#include <cstddef>

namespace gateway {

struct http_limits {
    // --- connections ---
    std::size_t connections = 4096;             // at once; beyond it the oldest that waits gives way
    std::size_t connections_per_address = 1024; // the same, of one address (IPv6: one /64)
    std::size_t files_kept = 256;               // descriptors left for everything else

    // --- a request ---
    std::size_t head_bytes = 16384;           // request line and headers
    std::size_t target_bytes = 8192;          // what the request line asks for
    std::size_t body_bytes_of_all = 33554432; // bodies that are being read, of all connections, 32 MiB

    // --- times ---
    std::chrono::milliseconds handshake{10000};   // TLS and WebSocket
    std::chrono::milliseconds idle{60000};        // between two requests
    std::chrono::milliseconds head{10000};        // from a request's first byte to the end of its headers
    std::chrono::milliseconds body{20000};        // from there to the end of the body
    std::chrono::milliseconds answering{90000};   // until a handler has answered
    std::chrono::milliseconds write_pause{10000}; // without the peer taking a byte of an answer
    std::chrono::milliseconds write{120000};      // for a whole answer, or a whole WebSocket message
    std::chrono::milliseconds linger{
        2000}; // reading on what a refused peer still sends, so that it hears why
    std::chrono::milliseconds stopping{5000}; // for answers under way when the server ends
    std::chrono::milliseconds look{250};      // how often deadlines are looked at

    // --- WebSockets ---
    std::size_t client_message_bytes = 4096;     // clients have nothing to say
    std::size_t client_bytes_per_window = 65536; // all that one may send in a window, pongs and all
    std::chrono::milliseconds client_window{10000};
    std::chrono::milliseconds pong{30000}; // nothing heard for half of it: a ping; for all of it: cut
};

} // namespace gateway
