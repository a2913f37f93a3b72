// Opening a TCP connection step by step, without waiting: the name's addresses are tried one after the other.
#pragma once

#include "name_lookup.h"

#include <deque>
#include <poll.h>

struct tcp_opening {
    std::uint64_t timeout_us = 0;          // for the look-up, and again for each address
    std::shared_ptr<name_lookup> lookup;   // under way; null before and after
    std::deque<network_address> addresses; // still to be tried, the first one first
    int fd = -1;                           // connecting; -1 when none is
    std::uint64_t deadline = 0;            // of the step under way, monotonic microseconds
    std::string failure;                   // of the last address tried
};

enum class opening_result {
    pending, // call continue_tcp_opening() again, at the latest at the deadline
    open, // *connected is the descriptor: connected, non-blocking, close-on-exec, to be closed by the caller
    failed, // `failure` says why; nothing is left open
};

// Starts over. `host` and `port` as for begin_name_lookup(); `now` in monotonic microseconds.
void begin_tcp_opening(tcp_opening& opening, const std::string& host, std::uint16_t port, std::uint64_t now);

// One step. With `open`, *connected is the descriptor; otherwise it is left alone.
opening_result continue_tcp_opening(tcp_opening& opening, std::uint64_t now, int* connected);

// What to wait for while it is pending.
pollfd tcp_opening_wait(const tcp_opening& opening);

// Closes what is open. Harmless when nothing is.
void cancel_tcp_opening(tcp_opening& opening);
