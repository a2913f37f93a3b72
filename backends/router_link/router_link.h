// The connection of a backend to its router: a TCP connection, or any other descriptor such as a serial line.
// It is opened, opened again with growing waits when it breaks, read into a bounded buffer and written from a
// bounded queue; it never waits. One call moves it on, service_link(); the protocol above looks at `received`
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
    std::uint64_t connections = 0;   // how often it was opened: another number, another conversation
    std::string received;            // what the router said; the protocol erases what it has taken in
    std::uint64_t last_received = 0; // when the router last said something, or the connection was opened
    std::string failure; // why the last attempt came to nothing; empty: none was made, or one is open
    bool acknowledges_at_once = false; // set by the protocol while an answer is awaited, see below
    log_lines log; // "<WARN>not connected to ..." and "<INFO>connected to ...", once per change

    // --- settings; to be set before the target
    reconnect_delay delay;
    std::function<double()> chance; // 0..1; a generator of its own unless a test brings one

    // --- its own
    std::string name; // of the target, as log lines call it
    std::string host; // empty: a device
    std::uint16_t port = 0;
    std::function<int(std::string* failure)> open_device; // empty: TCP
    tcp_opening tcp;
    int fd = -1;
    std::uint64_t due = 0;         // of the next attempt, while waiting
    std::uint64_t sound_since = 0; // 0: this connection has not proved itself yet
    std::string unsent;
    bool said_connected = false;
    std::set<std::string> said_failures; // since it was last said to be connected
};

// A router may send its answer in two pieces and hold the second one back until the first is acknowledged;
// the kernel of this machine likes to take 40 ms for that. With acknowledges_at_once it does not.

// The protocol's unconsumed rest, and the send queue: beyond these the connection is dropped, or the sending
// refused.
constexpr std::size_t most_link_received = 1024UL * 1024;
constexpr std::size_t most_link_unsent = 256UL * 1024;

// From now on the router is at `host` (a name or a literal IPv4 or IPv6 address) and `port`; an empty host is
// no target at all. `timeout_us` bounds the look-up of the name and the wait for each of its addresses. What
// is open is closed, and the next service_link() begins anew.
void set_link_target_tcp(router_link& link, const std::string& host, std::uint16_t port,
                         std::uint64_t timeout_us);

// From now on the router is behind a descriptor that `open` opens at once: non-blocking, close-on-exec, and
// the link's to close; or -1 with *failure set to why. A read that finds nothing must fail with EAGAIN, not
// give 0 bytes (a serial line: VMIN 1); 0 bytes are taken for the end. `name` stands in log lines
// ("/dev/ttyS0").
void set_link_target_device(router_link& link, const std::string& name,
                            std::function<int(std::string* failure)> open);

// Opens, reads (64 KiB at the most), writes, each as far as it goes without waiting.
void service_link(router_link& link, std::uint64_t now);

// Writes what is queued as far as it goes, and reads nothing: for after the protocol's turn.
void flush_link(router_link& link, std::uint64_t now);

// Queues `text` for the router. False, with nothing queued, when the link is not open or its queue is full.
bool send_to_router(router_link& link, std::string_view text);

// Closes an open connection because of `failure`, which is logged, and opens it again after a wait. What was
// sent and has not left yet is thrown away; a router on TCP sees a reset.
void drop_link(router_link& link, const std::string& failure, std::uint64_t now);

// The protocol says that the router has answered sensibly: logged as connected, once. A connection that stays
// sound for as long as the longest wait makes the next wait a short one again.
void link_is_sound(router_link& link, std::uint64_t now);

// What to wait for; fd -1: nothing.
pollfd link_wait(const router_link& link);

// When service_link() is to be called at the latest; the largest number: whenever link_wait() says so.
std::uint64_t link_due(const router_link& link);
