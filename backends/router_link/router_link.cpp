#include "router_link.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <random>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr std::size_t longest_said_failure = 200;
constexpr std::size_t most_said_failures = 16;
constexpr std::size_t most_read_at_once = 64UL * 1024;

bool try_again_later() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

void close_link(router_link& link) {
    cancel_tcp_opening(link.tcp);
    if (link.fd >= 0) {
        close(link.fd);
        link.fd = -1;
    }
    link.received.clear();
    link.unsent.clear();
}

// The kernel would still deliver what was written, although the takes in it were given up: this makes it
// throw that away. Each call works on sockets or on serial lines only; on the other kind it fails without
// harm.
void discard_in_kernel(const router_link& link) {
    const linger at_once = {1, 0};
    setsockopt(link.fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    tcflush(link.fd, TCIOFLUSH);
}

// Closes an open link; nothing that was written is delivered afterwards.
void abort_link(router_link& link) {
    if (link.fd >= 0) {
        discard_in_kernel(link);
    }
    close_link(link);
}

// Each failure is logged once until the link is connected again, not at each attempt. Its text may come from
// the router, which may have another one each time, of any length.
void say_failure(router_link& link, const std::string& whole_failure) {
    const std::string failure = whole_failure.substr(0, longest_said_failure);
    if (link.said_connected) {
        link.said_connected = false;
        add_log_line(link.log, "WARN", "lost the connection to " + link.name + ": " + failure);
        link.said_failures = {failure};
    } else if (link.said_failures.size() < most_said_failures && link.said_failures.insert(failure).second) {
        add_log_line(link.log, "WARN", "not connected to " + link.name + ": " + failure);
    }
}

void wait_for_next_try(router_link& link, const std::string& failure, std::uint64_t now) {
    if (link.sound_since != 0 && now - link.sound_since >= link.delay.longest_us) {
        reset_reconnect_delay(link.delay);
    }
    abort_link(link);
    say_failure(link, failure);
    link.failure = failure.substr(0, longest_said_failure);
    link.sound_since = 0;
    link.state = router_link_state::waiting;
    link.due = now + next_reconnect_delay(link.delay, link.chance());
}

void set_target(router_link& link, const std::string& name, bool any) {
    abort_link(link);
    link.name = name;
    link.failure.clear();
    link.state = any ? router_link_state::waiting : router_link_state::idle;
    link.due = 0;
    link.sound_since = 0;
    link.said_connected = false;
    link.said_failures.clear();
    reset_reconnect_delay(link.delay);
}

void become_open(router_link& link, int fd, std::uint64_t now) {
    link.fd = fd;
    link.failure.clear();
    link.state = router_link_state::open;
    link.last_received = now;
    ++link.connections;
}

void begin_opening(router_link& link, std::uint64_t now) {
    if (!link.open_device) {
        begin_tcp_opening(link.tcp, link.host, link.port, now);
        link.state = router_link_state::opening;
        return;
    }
    std::string failure = "it cannot be opened";
    const int fd = link.open_device(&failure);
    if (fd < 0) {
        wait_for_next_try(link, failure, now);
    } else {
        become_open(link, fd, now);
    }
}

void continue_opening(router_link& link, std::uint64_t now) {
    int fd = -1;
    const opening_result result = continue_tcp_opening(link.tcp, now, &fd);
    if (result == opening_result::open) {
        become_open(link, fd, now);
    } else if (result == opening_result::failed) {
        wait_for_next_try(link, link.tcp.failure, now);
    }
}

// The kernel forgets this setting by itself, so it is set each time. On a serial line the call fails without
// harm.
void acknowledge_at_once(const router_link& link) {
    if (link.acknowledges_at_once) {
        const int on = 1;
        setsockopt(link.fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
    }
}

void read_from_router(router_link& link, std::uint64_t now) {
    char bytes[16 * 1024];
    std::size_t total = 0;
    acknowledge_at_once(link);
    while (total < most_read_at_once) {
        const ssize_t count = read(link.fd, bytes, sizeof bytes);
        if (count < 0 && try_again_later()) {
            break;
        }
        if (count <= 0) {
            drop_link(link, count == 0 ? "the router closed it" : std::strerror(errno), now);
            return;
        }
        link.received.append(bytes, static_cast<std::size_t>(count));
        link.last_received = now;
        total += static_cast<std::size_t>(count);
        if (static_cast<std::size_t>(count) < sizeof bytes) {
            break;
        }
    }
}

} // namespace

void flush_link(router_link& link, std::uint64_t now) {
    if (link.state != router_link_state::open || link.unsent.empty()) {
        return;
    }
    const ssize_t count = write(link.fd, link.unsent.data(), link.unsent.size());
    if (count > 0) {
        link.unsent.erase(0, static_cast<std::size_t>(count));
    } else if (count == 0 || !try_again_later()) {
        drop_link(link, std::strerror(errno), now);
    }
}

router_link::router_link()
    : chance([engine = std::minstd_rand(std::random_device{}())]() mutable {
          return std::uniform_real_distribution<double>(0, 1)(engine);
      }) {}

router_link::~router_link() {
    close_link(*this);
}

void set_link_target_tcp(router_link& link, const std::string& host, std::uint16_t port,
                         std::uint64_t timeout_us) {
    set_target(link, host + " port " + std::to_string(port), !host.empty());
    link.open_device = nullptr;
    link.host = host;
    link.port = port;
    link.tcp.timeout_us = timeout_us;
}

void set_link_target_device(router_link& link, const std::string& name,
                            std::function<int(std::string* failure)> open) {
    set_target(link, name, true);
    link.open_device = std::move(open);
    link.host.clear();
}

void service_link(router_link& link, std::uint64_t now) {
    if (link.state == router_link_state::open && link.received.size() > most_link_received) {
        drop_link(link, "it sends what never ends", now);
    }
    if (link.state == router_link_state::waiting && link.due <= now) {
        begin_opening(link, now);
    }
    if (link.state == router_link_state::opening) {
        continue_opening(link, now);
    }
    if (link.state == router_link_state::open) {
        read_from_router(link, now);
    }
    flush_link(link, now);
}

bool send_to_router(router_link& link, std::string_view text) {
    if (link.state != router_link_state::open || link.unsent.size() + text.size() > most_link_unsent) {
        return false;
    }
    link.unsent.append(text);
    return true;
}

void drop_link(router_link& link, const std::string& failure, std::uint64_t now) {
    if (link.state == router_link_state::open) {
        wait_for_next_try(link, failure, now);
    }
}

void link_is_sound(router_link& link, std::uint64_t now) {
    if (link.state != router_link_state::open || link.sound_since != 0) {
        return;
    }
    link.sound_since = now;
    link.said_failures.clear();
    link.said_connected = true;
    add_log_line(link.log, "INFO", "connected to " + link.name);
}

pollfd link_wait(const router_link& link) {
    if (link.state == router_link_state::opening) {
        return tcp_opening_wait(link.tcp);
    }
    if (link.state != router_link_state::open) {
        return {-1, 0, 0};
    }
    const bool unsent = !link.unsent.empty();
    return {link.fd, static_cast<short>(unsent ? POLLIN | POLLOUT : POLLIN), 0};
}

std::uint64_t link_due(const router_link& link) {
    if (link.state == router_link_state::waiting) {
        return link.due;
    }
    return link.state == router_link_state::opening ? link.tcp.deadline
                                                    : std::numeric_limits<std::uint64_t>::max();
}
