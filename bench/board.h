// The board: a file that the runner and the programs it watches map together, so that a moment is stamped by
// the process that sees it, on the clock they share, and nobody has to be asked for it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <sys/types.h>

// All stamps are clock_ns(); 0: not stamped yet.
struct bench_board {
    std::atomic<std::uint32_t> events;        // raised after every change; what a waiting process sleeps on
    std::atomic<std::uint32_t> watched;       // 1: the next byte is to be stamped; the reader clears it
    std::atomic<std::int32_t> watched_output; // from 1: a take of it is to be stamped; the reader clears it
    std::atomic<std::uint32_t> flushes;       // batches of takes that the backend has finished reading
    std::atomic<std::uint32_t> generation;    // of the newest full report, 0 for the one at the start
    std::atomic<pid_t> backend;               // 0: none has started
    std::atomic<std::uint64_t> started;       // the backend's main began
    std::atomic<std::uint64_t> first_byte;    // the backend has read the first byte watched for
    std::atomic<std::uint64_t> take_byte;     // the backend has read the first byte of that take's message
    std::atomic<std::uint64_t> report_begun;  // the backend is about to write what was asked for last
    std::atomic<std::uint64_t> report_traced; // the bare loop has written that report's trace
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "the board is shared between processes");

// CLOCK_MONOTONIC in nanoseconds.
std::uint64_t clock_ns();

// Maps the board at `path`, made anew (all zero) when `fresh`. Null on failure; it stays mapped to the end.
bench_board* map_board(const std::string& path, bool fresh);

// Wakes whoever waits for the board.
void raise_event(bench_board& board);

// Sleeps until an event after `seen` was raised, for at most `milliseconds`.
void wait_for_event(bench_board& board, std::uint32_t seen, int milliseconds);
