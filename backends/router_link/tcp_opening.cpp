#include "tcp_opening.h"

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <unistd.h>

namespace {

void close_attempt(tcp_opening& opening) {
    if (opening.fd >= 0) {
        close(opening.fd);
        opening.fd = -1;
    }
}

void fail_attempt(tcp_opening& opening, int error) {
    opening.failure = std::strerror(error);
    close_attempt(opening);
}

// Begins with the first address left. When that fails at once, nothing is open.
void begin_attempt(tcp_opening& opening, std::uint64_t now) {
    const network_address target = opening.addresses.front();
    opening.addresses.pop_front();
    opening.deadline = now + opening.timeout_us;
    opening.fd = socket(target.address.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (opening.fd < 0) {
        fail_attempt(opening, errno);
        return;
    }
    const int on = 1; // a take is a few bytes, which must be sent without waiting for more
    setsockopt(opening.fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto* address = reinterpret_cast<const sockaddr*>(&target.address);
    if (connect(opening.fd, address, target.size) != 0 && errno != EINPROGRESS && errno != EINTR) {
        fail_attempt(opening, errno);
    }
}

// A take must not arrive late. So the connection breaks when the router does not acknowledge in this time;
// otherwise the kernel would send the bytes again for minutes, for instance while a cable is unplugged.
void bound_delivery(int fd) {
    const unsigned int longest_ms = 2000;
    setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &longest_ms, sizeof longest_ms);
}

// A connection to a port of this machine that nobody serves may by chance end at itself.
bool is_connected_to_itself(int fd) {
    sockaddr_storage ours = {};
    sockaddr_storage theirs = {};
    socklen_t our_size = sizeof ours;
    socklen_t their_size = sizeof theirs;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&ours), &our_size) == 0 &&
           getpeername(fd, reinterpret_cast<sockaddr*>(&theirs), &their_size) == 0 &&
           our_size == their_size && std::memcmp(&ours, &theirs, our_size) == 0;
}

// The attempt's error number, 0 when it is connected, -1 while it is under way.
int attempt_outcome(const tcp_opening& opening, std::uint64_t now) {
    pollfd wait = {opening.fd, POLLOUT, 0};
    if (poll(&wait, 1, 0) <= 0) {
        return now < opening.deadline ? -1 : ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(opening.fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        return errno;
    }
    return error == 0 && is_connected_to_itself(opening.fd) ? ECONNREFUSED : error;
}

// False while the name is being looked up.
bool finish_lookup(tcp_opening& opening, std::uint64_t now) {
    if (opening.lookup == nullptr) {
        return true;
    }
    if (opening.lookup->done) {
        opening.addresses.assign(opening.lookup->addresses.begin(), opening.lookup->addresses.end());
        opening.failure = opening.lookup->failure;
    } else if (now < opening.deadline) {
        return false;
    } else {
        opening.failure = "the name " + opening.lookup->host + " is not answered for by the resolver";
    }
    opening.lookup.reset();
    return true;
}

} // namespace

void begin_tcp_opening(tcp_opening& opening, const std::string& host, std::uint16_t port, std::uint64_t now) {
    cancel_tcp_opening(opening);
    opening.failure.clear();
    opening.deadline = now + opening.timeout_us;
    opening.lookup = begin_name_lookup(host, port);
}

opening_result continue_tcp_opening(tcp_opening& opening, std::uint64_t now, int* connected) {
    if (!finish_lookup(opening, now)) {
        return opening_result::pending;
    }
    while (true) {
        if (opening.fd >= 0) {
            const int error = attempt_outcome(opening, now);
            if (error < 0) {
                return opening_result::pending;
            }
            if (error == 0) {
                bound_delivery(opening.fd); // not earlier: it would end the connecting, too
                *connected = opening.fd;
                opening.fd = -1;
                opening.addresses.clear();
                return opening_result::open;
            }
            fail_attempt(opening, error);
        }
        if (opening.addresses.empty()) {
            return opening_result::failed;
        }
        begin_attempt(opening, now);
    }
}

pollfd tcp_opening_wait(const tcp_opening& opening) {
    if (opening.lookup != nullptr) {
        return {opening.lookup->wake_read, POLLIN, 0};
    }
    return {opening.fd, POLLOUT, 0};
}

void cancel_tcp_opening(tcp_opening& opening) {
    close_attempt(opening);
    opening.lookup.reset();
    opening.addresses.clear();
}
