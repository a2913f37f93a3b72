// What routers, drivers and takes may cost the gateway. gateway/settings/limits.h has what its clients may.
#pragma once

#include <cstddef>
#include <cstdint>

namespace gateway {

// --- directories ---
constexpr std::size_t routers_limit = 256;             // shown at once; further ones are counted
constexpr std::size_t directory_entries_limit = 16384; // looked at in one directory
constexpr std::uint64_t reread_pause_us = 20000;       // between two readings of the directories, at least
constexpr std::uint64_t reread_always_us = 10000000;   // read anew even when nobody told of a change
constexpr std::uint64_t missing_directory_us = 100000; // the same while a directory is missing

// Times that the kernel's queue is read before others have their turn; who makes changes without end holds
// nobody up.
constexpr int event_reads_limit = 64;

// --- the watch connection ---
constexpr std::uint64_t first_retry_us = 10000; // pause before the first new attempt; doubles each time
constexpr std::uint64_t longest_retry_us = 5000000;
constexpr std::uint64_t steady_us = 10000000; // whole for so long: the next attempt is a first one again
constexpr std::uint64_t reading_limit_us = 30000000;    // for the whole picture of the largest router
constexpr std::size_t reason_text_limit = 256;          // bytes of a driver's or backend's text in a reason
constexpr std::uint64_t last_error_period_us = 5000000; // the driver's last error is asked for so often
constexpr std::uint64_t last_error_pause_us = 1000000;  // and again at once, but not before this
constexpr std::size_t error_text_limit = 1024;          // bytes of it
constexpr std::size_t record_pages_limit = 64;          // of the driver's record of takes, read once

// --- takes ---
constexpr std::size_t lane_requests_limit = 64; // of one lane on one router without an ending
// Outputs in them; the driver, too, holds a client's next take up from here on.
constexpr std::size_t lane_outputs_limit = 4096;
constexpr std::size_t lane_connections_limit = 1024; // of all lanes and routers together
// Of one lane, and at most as many as are still left for others: however many are greedy, the next one gets
// some.
constexpr std::size_t lane_connections_of_one_limit = 256;
constexpr std::uint64_t lane_idle_us = 10000000;    // an unused connection is closed after so long
constexpr std::uint64_t late_answer_us = 500000;    // how far behind its `within` an answer is waited for
constexpr std::uint64_t rename_answer_us = 3000000; // how long the answer to a new name is waited for

// --- the clock ---
constexpr std::uint64_t tick_us = 250000; // silence, deadlines and idle connections are looked at so often

} // namespace gateway
