// What other sites and the broker may cost this one, and the times that hold between sites.
#pragma once

#include "message_version.h"

#include <cstddef>
#include <cstdint>

namespace gateway {

// --- times ---
constexpr std::uint64_t alive_period_ms = 500;        // a site says so often that it is there
constexpr std::uint64_t site_silence_limit_ms = 1500; // heard nothing for longer: stale
constexpr std::uint64_t beat_limit_ms = 1000;         // a take with an older beat is refused by the owner
constexpr std::uint64_t site_look_period_ms = 100;    // how often silence and deadlines are looked at
constexpr std::uint64_t page_answer_ms = 3000;        // how long a page is waited for
constexpr std::uint64_t reread_after_failure_ms = 1000;
// How far behind its `within` the owner's answer is waited for: as long as the owner waits for its driver,
// and the way there and back.
constexpr std::uint64_t far_late_answer_ms = 1000;
constexpr std::uint64_t far_rename_answer_ms = 4000;

// --- the broker ---
constexpr std::uint64_t connect_time_limit_ms = 1000; // for one server
constexpr std::uint64_t broker_retry_pause_ms = 250;
constexpr std::uint64_t broker_longest_pause_ms = 2000;
constexpr std::uint64_t broker_ping_period_ms = 1000; // two without an answer end the connection
constexpr int broker_pings_limit = 2;
constexpr std::uint64_t broker_silence_limit_ms = 5000; // without hearing our own beats: ended, too
constexpr std::uint64_t broker_write_limit_ms = 1000;   // without the broker reading a byte
constexpr std::uint64_t broker_look_period_ms = 50;     // how often an ended connection is looked for
constexpr std::size_t outgoing_messages_limit = 4096;
constexpr std::size_t outgoing_message_bytes_limit = 16777216;                      // of all of them, 16 MiB
constexpr std::size_t outgoing_page_bytes_limit = outgoing_message_bytes_limit / 2; // of pages among them
// Of pictures: made of those asked for before others in the loop have their turn, and written before what
// came meanwhile.
constexpr int pages_per_turn = 2;

// --- what comes in: of one subscription, and each peer has its own ---
constexpr std::size_t incoming_messages_limit = 1024;
constexpr std::size_t incoming_bytes_limit = 8388608; // 8 MiB
constexpr int messages_per_turn = 32;                 // handled before others in the loop have their turn
constexpr std::size_t message_bytes_limit = 1048576;  // larger ones are dropped unread

// --- routers of others ---
constexpr std::size_t routers_per_site_limit = 256;
constexpr std::size_t pictures_read_at_once = 8;   // of one site
constexpr std::size_t changes_kept_limit = 256;    // while a picture is read
constexpr std::size_t page_bytes_aim = 98304;      // a page ends with the place that passes it
constexpr std::size_t change_bytes_limit = 262144; // larger changes are read as a whole picture

// --- takes ---
constexpr std::size_t far_lane_requests_limit = 64;  // of one token at one site without an answer
constexpr std::size_t far_site_requests_limit = 512; // of all tokens at one site
constexpr std::size_t remembered_asks_limit = 4096;  // of one peer, so that none is done twice

// --- histories ---
constexpr std::uint64_t history_look_period_ms = 1000; // for new entries here, and new ones at the broker
constexpr std::uint64_t history_ask_limit_ms = 3000;   // for the broker's answers to one batch
constexpr std::uint64_t history_retry_pause_ms = 500;  // after a problem; doubles
constexpr std::uint64_t history_longest_pause_ms = 10000;
constexpr std::uint64_t history_written_limit_ms = 2000; // for the disk, before it is waited for once more
constexpr std::size_t history_exchange_batch = 512;      // entries on their way at once, each way
constexpr std::uint64_t history_again_pause_ms = 50;     // between batches that are sent once more
constexpr std::size_t peers_told_limit = 256;            // lines about histories that cannot be read
constexpr std::int64_t stream_bytes_limit = 268435456;   // of all sites' entries at the broker, 256 MiB
constexpr std::int64_t stream_longest_s = 2592000;       // 30 days
constexpr std::int64_t stream_doubles_s = 120; // the broker itself leaves out what comes twice in it

} // namespace gateway
