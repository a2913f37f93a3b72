// The connection of a backend to its router: a TCP connection, or any other descriptor such as a serial line.
// It is opened, opened again after growing waits when it breaks, read into a bounded buffer and written from
// a bounded queue; no call waits. service_link() does all that, and the protocol looks at `received`
// afterwards. All times are monotonic microseconds and come from the caller. SIGPIPE must be ignored.
#pragma once

#include "log_lines.h"
#include "reconnect_delay.h"
#include "tcp_opening.h"

#include <cstdint>
#include <functional>
#include <poll.h>
#include <set>
#include <string>
#include <string_view>

enum class router_link_state {
    idle,    // no target is set
    waiting, // until `due`, then it is opened again
    opening,
    open,
};

struct router_link {
    router_link();
    ~router_link();
    router_link(const router_link&) = delete;
    router_link& operator=(const router_link&) = delete;

    // --- to be read by the protocol
    router_link_state state = router_link_state::idle;
    std::uint64_t connections = 0;   // how often it was opened; when it changes, a new conversation begins
    std::string received;            // what the router said; the protocol erases what it has read
    std::uint64_t last_received = 0; // when the router last said something, or the connection was opened
    std::string failure;             // why the last attempt failed; empty: none was made, or the link is open
    bool acknowledges_at_once = false; // set by the protocol while an answer is awaited, see below
    log_lines log; // "<WARN>not connected to ..." and "<INFO>connected to ...", once per change

    // --- settings; to be set before the target
    reconnect_delay delay;
    std::function<double()> chance; // a random number from 0 to 1; tests set their own

    // --- for router_link.cpp alone
    std::string name; // of the target, as log lines call it
    std::string host; // empty: a device
    std::uint16_t port = 0;
    std::function<int(std::string* failure)> open_device; // empty: TCP
    tcp_opening tcp;
    int fd = -1;
    std::uint64_t due = 0;         // of the next attempt, while waiting
    std::uint64_t sound_since = 0; // since when link_is_sound() was called; 0: not yet
    std::string unsent;
    bool said_connected = false;
    std::set<std::string> said_failures; // since it was last said to be connected
};

// A router may send its answer in two pieces and hold the second one back until the first is acknowledged.
// The kernel often waits 40 ms before it acknowledges; with acknowledges_at_once it does so at once.

// Limits, in bytes. When the protocol leaves more than that unread in `received`, the connection is dropped;
// what does not fit into the send queue is refused.
constexpr std::size_t most_link_received = 1024UL * 1024;
constexpr std::size_t most_link_unsent = 256UL * 1024;

// Sets the target: `host` (a name or a literal IPv4 or IPv6 address) and `port`; an empty host means no
// target. `timeout_us` limits the look-up of the name, and the wait for each of its addresses. An open
// connection is closed, and the next service_link() begins to open a new one.
void set_link_target_tcp(router_link& link, const std::string& host, std::uint16_t port,
                         std::uint64_t timeout_us);

// Sets a target that `open` opens at once. It returns a descriptor, non-blocking and close-on-exec, which the
// link closes; or -1 with *failure set to the reason. A read that finds nothing must fail with EAGAIN: a read
// of 0 bytes means the end (so a serial line needs VMIN 1). `name` is used in log lines ("/dev/ttyS0").
void set_link_target_device(router_link& link, const std::string& name,
                            std::function<int(std::string* failure)> open);

// Opens, reads (at most 64 KiB) and writes, as far as that is possible without waiting.
void service_link(router_link& link, std::uint64_t now);

// Writes what is queued, as far as that is possible without waiting. To be called after the protocol's
// functions.
void flush_link(router_link& link, std::uint64_t now);

// Queues `text` for the router. False, with nothing queued, when the link is not open or its queue is full.
bool send_to_router(router_link& link, std::string_view text);

// Closes an open connection because of `failure`, which is logged, and opens it again after a wait. What was
// queued or is still in the kernel is thrown away; a router on TCP sees a reset.
void drop_link(router_link& link, const std::string& failure, std::uint64_t now);

// To be called when the router has answered as its protocol wants: this is logged as connected, once. After a
// connection that has worked for as long as the longest wait, the next wait is short again.
void link_is_sound(router_link& link, std::uint64_t now);

// What to wait for with poll(); fd -1: nothing.
pollfd link_wait(const router_link& link);

// When service_link() must be called at the latest; the largest number: only when poll() says so.
std::uint64_t link_due(const router_link& link);
