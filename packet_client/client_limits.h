// What a driver, or another program in its place, may cost its client. What exceeds a limit is cut or
// skipped.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vrdx {

// --- the connection ---
constexpr std::size_t read_bytes_per_turn = 262144;       // bytes read by one move_bytes(), 256 KiB
constexpr std::size_t outgoing_bytes_limit = 4194304;     // bytes that wait to be written, 4 MiB
constexpr std::size_t kept_bytes_limit = 33554432;        // packets kept while a reply is waited for, 32 MiB
constexpr std::size_t awaited_requests_limit = 4096;      // requests without a reply
constexpr std::uint64_t connect_pause_us = 10000;         // before another attempt at a busy driver
constexpr std::uint64_t watch_silence_limit_us = 7500000; // a driver sends something at least every 5 seconds

// --- the picture ---
constexpr std::size_t picture_inputs_limit = 4096;
constexpr std::size_t picture_outputs_limit = 1024;
constexpr std::size_t picture_name_limit = 1024;      // bytes
constexpr std::size_t properties_limit = 16;          // of one input or output
constexpr std::size_t property_name_limit = 64;       // bytes; a longer one is skipped
constexpr std::size_t property_value_limit = 1024;    // bytes; a longer one is skipped
constexpr std::size_t property_bytes_limit = 8388608; // names and values of all properties together, 8 MiB
constexpr std::size_t picture_text_limit = 4096;      // bytes of one of the driver's texts
constexpr std::size_t picture_messages_limit = 64;    // errors, and notes; older ones go
constexpr std::size_t pages_limit = 1024;             // of one description or record

// --- takes ---
constexpr std::size_t takes_per_order_limit = 1024;
constexpr std::size_t take_id_limit = 64; // bytes
constexpr std::size_t take_by_limit = 64; // bytes
constexpr unsigned take_within_shortest_ms = 100;
constexpr unsigned take_within_longest_ms = 60000;
constexpr unsigned take_within_usual_ms = 3000; // when the order says nothing
constexpr std::size_t take_records_per_packet_limit = 4096;
constexpr std::size_t take_records_limit = 16384; // of the record read page by page

} // namespace vrdx
