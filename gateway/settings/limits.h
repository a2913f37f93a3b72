// What a client of the gateway may cost it, and what the gateway keeps. What goes beyond is answered with a
// clear error or cut, never kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace gateway {

// --- HTTP: one request ---
constexpr std::size_t header_bytes_limit = 16384;     // request line and headers, 16 KiB; else 431
constexpr std::size_t body_bytes_limit = 1048576;     // 1 MiB; else 413
constexpr std::size_t small_body_bytes_limit = 16384; // where a body is one name, token or lock, 16 KiB
constexpr std::uint64_t header_time_limit_ms = 10000; // first byte to the end of the headers, and TLS
constexpr std::uint64_t body_time_limit_ms = 30000;   // end of the headers to the end of the body
constexpr std::size_t bodies_bytes_limit = 33554432;  // of all bodies that are being read, 32 MiB; else 503
constexpr std::uint64_t answering_time_limit_ms = 90000;     // until a request is answered
constexpr std::uint64_t answer_pause_limit_ms = 10000;       // without the peer reading a byte of its answer
constexpr std::uint64_t answer_write_time_limit_ms = 120000; // for a whole answer
constexpr std::uint64_t linger_time_limit_ms = 2000;   // a refused peer is read on, so that it hears why
constexpr std::uint64_t stopping_time_limit_ms = 5000; // for answers under way when the gateway ends
constexpr std::uint64_t deadline_look_period_ms = 250; // how often deadlines are looked at
constexpr std::uint64_t idle_time_limit_ms = 60000;    // between two requests of one connection
constexpr std::size_t json_depth_limit = 16;           // arrays and objects within each other

// --- HTTP: connections ---
// A connection "waits" from accept() until its first whole request is there, and again between two requests.
// Waiting ones are closed first: a new connection beyond a limit closes the one that has waited longest (of
// the same address for the limits per address). What does not wait (a request at work, an event stream) is
// never pushed out; when nothing waits, the new one is closed. The limits per address leave out the known
// proxies, behind which everybody has one address.
constexpr std::size_t connections_limit = 12000;
constexpr std::size_t connections_per_address_limit = 2000; // 1,000 event streams, and their requests beside
constexpr std::size_t waiting_limit = 4096;
constexpr std::size_t waiting_per_address_limit = 512;
constexpr int accept_backlog = 1024;

// --- events (WebSocket) ---
constexpr std::size_t event_bytes_limit = 262144; // of one reader beside the shared texts, 256 KiB
constexpr int event_unsent_bytes_limit = 65536;   // that the system keeps for a reader without room, 64 KiB
constexpr std::size_t event_queue_bytes_limit =
    49152; // messages that wait for one reader, 48 KiB; then merged
constexpr std::size_t event_queue_limit = 512;
constexpr std::size_t event_once_bytes_limit =
    32768; // takes and alarms, 32 KiB; older ones go, and are counted
constexpr std::size_t event_once_limit = 256;
constexpr std::size_t event_merged_bytes_limit = 65536; // of one change; the place that passes it is its last
constexpr std::size_t event_numbers_of_router_limit = 256; // untold inputs and outputs; beyond it the picture
constexpr std::size_t event_numbers_limit = 8192;          // the same, of all routers
constexpr std::size_t event_readers_per_token_limit = 1024;
constexpr std::size_t event_message_from_client_limit = 4096; // bytes; clients have next to nothing to say
constexpr std::size_t event_bytes_from_client_limit = 65536;  // in a window, pongs and all; beyond it: cut
constexpr std::uint64_t event_client_window_ms = 10000;
// An `alive` message when nothing else is said. The panel's pages call three seconds without any a loss.
constexpr std::uint64_t event_alive_period_ms = 1000;
// A reader that for so long neither answers a ping nor reads of what waits for it is cut.
constexpr std::uint64_t event_silence_limit_ms = 15000;
constexpr std::uint64_t event_close_time_limit_ms = 400; // for the other side's closing frame

// --- descriptors ---
// Beside the connections: drivers (one watch each, and one per lane), listeners, database, inotify, logs.
constexpr std::size_t other_descriptors_limit = 4384;
constexpr std::size_t descriptors_limit = connections_limit + other_descriptors_limit; // 16384

// --- takes ---
constexpr std::uint64_t allowed_change_ms =
    75000; // how long an allowed take of a protected output may come true
// Alarms about what happened while the gateway was down are told to readers that come so long after it.
constexpr std::uint64_t alarm_after_restart_ms = 600000;
constexpr std::size_t alarms_after_restart_limit = 1024;

// --- tokens, sessions, locks ---
constexpr std::size_t tokens_limit = 4096;
constexpr std::size_t token_name_limit = 64;         // printable ASCII characters
constexpr std::size_t token_routers_limit = 256;     // names of one token
constexpr std::size_t router_name_limit = 255;       // bytes
constexpr int largest_number = 4096;                 // of an input or output in a list of a token
constexpr std::size_t number_list_text_limit = 4096; // bytes
constexpr std::size_t sessions_limit = 16384;
constexpr std::size_t sessions_per_token_limit = 256;  // one more ends the oldest
constexpr std::int64_t kept_session_s = 2592000;       // 30 days
constexpr std::int64_t kept_session_renewal_s = 86400; // one in use is prolonged when so much of it is over
constexpr std::int64_t short_session_s = 43200;        // 12 hours, and gone with the browser
constexpr std::int64_t clock_back_s = 86400;           // a clock that was set back by no more ends no session
constexpr std::size_t locks_limit = 131072;
constexpr std::size_t lock_reason_limit = 256;       // bytes of UTF-8
constexpr std::uint64_t access_look_period_ms = 500; // how often other writers of the database are looked for
constexpr int database_busy_ms = 250;                // how long the start waits for another writer
// While the gateway serves, nothing waits for another writer: locks and logins try again so often, for so
// long.
constexpr std::uint64_t busy_retry_ms = 20;
constexpr std::uint64_t busy_time_limit_ms = 5000;
constexpr std::uint64_t busy_looks_limit = 20;        // so many looks may fail before it is told
constexpr std::uint64_t write_probe_period_ms = 5000; // after a write that failed: is it over?
constexpr int command_database_busy_ms = 5000;        // how long the token command does

// --- locks and logins, each a write that all wait for ---
constexpr std::uint64_t writes_at_once_per_token = 64; // then one more after each write_refill_ms; else 429
constexpr std::uint64_t write_refill_ms = 50;          // twenty a second

// --- wrong logins ---
constexpr unsigned wrong_logins_at_once = 10;               // of one address, before it is slowed down
constexpr std::uint64_t wrong_login_refill_ms = 6000;       // one more after that time: ten a minute
constexpr std::uint64_t wrong_login_longest_wait_ms = 5000; // more: 429 at once
constexpr std::size_t login_addresses_limit = 4096;

// --- names of users ---
constexpr std::size_t user_names_limit = 1024;    // kept; then all are looked up anew
constexpr std::uint64_t user_names_look_ms = 100; // how often it is seen whether new ones were found

// --- idempotency keys ---
constexpr std::size_t idempotency_key_limit = 128;   // bytes, printable ASCII
constexpr std::uint64_t idempotency_time_ms = 60000; // from the answer on
constexpr std::size_t idempotency_entries_per_token_limit = 4096;
constexpr std::size_t idempotency_entries_limit = 32768;
constexpr std::size_t idempotency_bytes_per_token_limit = 4194304; // of kept answers, 4 MiB
constexpr std::size_t idempotency_bytes_limit = 16777216;          // of all kept answers, 16 MiB
constexpr std::size_t idempotency_waiting_limit = 16;              // requests that wait for one answer

// --- history ---
constexpr std::int64_t history_usual_days = 90;          // kept for so long, when the settings say nothing
constexpr std::int64_t history_longest_days = 3650;      // ten years
constexpr std::int64_t history_usual_bytes = 1073741824; // 1 GiB on the disk
constexpr std::int64_t history_least_bytes = 16777216;   // 16 MiB; less holds too little to be a history
constexpr std::int64_t history_most_bytes = 109951162777600; // 100 TiB
constexpr std::size_t history_waiting_limit = 65536; // entries that wait for the disk; more are counted
constexpr std::size_t history_batch_limit = 4096;    // entries of one transaction
constexpr std::uint64_t history_gather_ms = 200;     // how long entries are gathered before they are written
constexpr std::uint64_t history_retry_ms = 1000;     // before a disk that refused a write is tried again
constexpr std::uint64_t history_trim_period_ms = 1000;     // how often what is too old or too much is removed
constexpr std::int64_t history_trim_rows = 2000;           // removed at once; others write in between
constexpr std::int64_t history_counted_rows_limit = 50000; // of refused logins, and of other refusals
// Either of them gets an eighth of the bytes at most; so many bytes are reckoned for one of their entries.
constexpr std::int64_t history_refusals_part = 8;
constexpr std::int64_t history_refusal_bytes = 2048;
// Told apart in a minute, of refused logins and of other refusals; further ones are one entry.
constexpr std::size_t history_login_kinds_limit = 64;
constexpr std::size_t history_refusal_kinds_limit = 1024;
constexpr std::uint64_t history_counted_period_ms = 250; // how often their counts are handed on
constexpr std::size_t history_text_limit = 1024;         // bytes of one text of an entry; longer ones are cut
constexpr std::size_t history_rows_usual = 100;          // of an answer
constexpr std::size_t history_rows_limit = 5000;
constexpr std::size_t history_questions_limit = 64; // that wait for their answer; more are answered 429
constexpr std::size_t history_questions_per_token_limit = 4;
constexpr std::uint64_t history_question_time_limit_ms = 5000; // then the answer asks for a narrower question
constexpr std::uint64_t history_flush_limit_ms = 1000; // an answer waits so long for what is not written yet
constexpr std::size_t history_callers_limit = 65536;   // outputs of takes whose entries are awaited
constexpr std::uint64_t history_callers_time_us = 600000000;  // how long an answered take's entry is awaited
constexpr std::uint64_t history_record_time_limit_ms = 10000; // for reading a driver's record
constexpr std::uint64_t history_record_retry_ms = 1000;       // before it is tried again; doubles
constexpr std::uint64_t history_record_longest_retry_ms = 60000;
// --- presets ---
constexpr std::size_t presets_limit = 1024;
constexpr std::size_t preset_name_limit = 128;         // bytes of UTF-8
constexpr std::size_t preset_takes_limit = 4096;       // of one preset, on all its routers together
constexpr std::size_t presets_bytes_limit = 16777216;  // of all presets as they are kept, 16 MiB
constexpr std::size_t preset_undo_takes_limit = 65536; // remembered of all recalls; the oldest go first
constexpr std::int64_t preset_undo_time_s = 86400;     // a recall can be undone for a day

// --- layouts: what each panel looks like ---
constexpr std::size_t layouts_limit = 16384;          // of all tokens and routers
constexpr std::size_t layouts_per_token_limit = 256;  // and never more than are left for others
constexpr std::size_t layout_bytes_limit = 131072;    // of one, 128 KiB: each number in four of its lists
constexpr std::size_t layouts_bytes_limit = 67108864; // of all of them as they are kept, 64 MiB
constexpr std::size_t layouts_bytes_per_token_limit = 2097152; // 2 MiB
constexpr std::size_t layout_categories_limit = 64;            // of one side
constexpr std::size_t layout_name_limit = 64;                  // bytes of UTF-8, of a category's name

// --- metrics ---
constexpr std::uint64_t metrics_fresh_us = 1000000;    // who asks again within it gets the same text
constexpr std::uint64_t metrics_patience_us = 1000000; // for drivers, which are asked for each text
constexpr std::size_t metrics_crosspoints_limit =
    32768; // outputs; routers beyond it are left out, and counted

// --- start ---
constexpr std::uint64_t ready_look_period_ms = 5;    // until the routers' pictures are read
constexpr std::uint64_t ready_time_limit_ms = 10000; // ready all the same: a driver may be silent for long

// --- configuration ---
constexpr std::size_t configuration_bytes_limit = 1048576;
constexpr std::size_t listen_addresses_limit = 16;
constexpr std::size_t hosts_limit = 64;
constexpr std::size_t proxies_limit = 64;
constexpr std::size_t walls_limit = 64;
constexpr std::size_t wall_addresses_limit = 64; // of one wall
constexpr std::size_t videohub_servers_limit = 32;
constexpr std::size_t videohub_networks_limit = 64; // whose addresses may connect to one of them

// --- Videohub servers ---
// A client beyond the limits is not let in; those that are there stay.
constexpr std::size_t videohub_clients_limit = 768; // of one server
constexpr std::size_t videohub_all_clients_limit = 1024;
// Of one address, half of them: panels behind one address translation have that much, others the other half.
constexpr std::size_t videohub_clients_per_address_limit = 384;     // of one server
constexpr std::size_t videohub_all_clients_per_address_limit = 512; // of all
// What a client may send before the end of a block, 128 KiB; beyond it the client is cut. The largest block
// that is of use, names of 1,024 outputs of 64 bytes, is half of it.
constexpr std::size_t videohub_block_bytes_limit = 131072;
constexpr std::size_t videohub_read_bytes = 4096;        // at once; what it may hold of blocks bounds a turn
constexpr std::size_t videohub_blocks_per_turn = 64;     // of one client, then others have their turn
constexpr std::size_t videohub_unread_answers = 16384;   // bytes; a client that does not read is not read on
constexpr std::size_t videohub_written_bytes = 65536;    // at once, 64 KiB; what is newer is merged meanwhile
constexpr std::size_t videohub_orders_at_work = 16;      // takes of a client without an ending; then it waits
constexpr std::size_t videohub_outputs_at_work = 2048;   // outputs in them
constexpr std::uint64_t videohub_write_limit_ms = 15000; // without the client reading a byte: cut
constexpr std::uint64_t videohub_half_block_limit_ms = 30000; // a block without its end after that: cut
constexpr std::uint64_t videohub_look_period_ms = 250;        // how often these times are looked at
constexpr std::uint64_t videohub_name_echo_ms = 2000; // a new name that is not there by then is told as it is
constexpr std::uint64_t videohub_refusal_pause_ms = 10000; // between two lines about refused connections
constexpr std::size_t site_name_limit = 32;                // characters
constexpr std::size_t servers_limit = 16;                  // of [nats]
constexpr std::size_t peers_limit = 64;                    // tables [[peer]]

} // namespace gateway
