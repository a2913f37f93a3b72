// What the server's tests stand in for: the kernel's word on who a client is, and the clock; and what they
// count: the server's system calls.
#pragma once

#include <atomic>
#include <cstdint>
#include <sys/socket.h>
#include <sys/types.h>

extern ucred next_peer;                            // whom the kernel says the next accepted client is
extern bool peer_is_unknown;                       // the kernel does not say
extern std::atomic<std::uint64_t> clock_ahead_us;  // monotonic_us() is so much ahead of the real clock
extern std::atomic<std::uint64_t> clock_stands_at; // 0: it runs

// Calls made by the thread that asked for it, since it did.
struct counted_calls {
    int waits = 0;   // epoll_pwait2
    int changes = 0; // epoll_ctl
    int receives = 0;
    int sends = 0;
};
extern thread_local counted_calls calls_made;
