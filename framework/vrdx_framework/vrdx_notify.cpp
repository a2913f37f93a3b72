#include "vrdx.h"

#include "vrdx_internal.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// What a service manager that is busy starting others may take to read. Only start-up and shutdown wait.
constexpr timeval notify_patience{1, 0};

// The watchdog is fed this many times per period, and asked again this much sooner when it could not be told.
constexpr std::uint64_t feeds_per_period = 2;
constexpr std::uint64_t retries_per_feed = 4;
constexpr std::uint64_t readiness_retry_us = 1000000;

struct manager_address {
    sockaddr_un name{};
    socklen_t size = 0;
};

// Kept open while there is a watchdog, so that a driver out of descriptors still tells that it lives.
int watchdog_fd = -1;
manager_address watchdog_manager;
std::uint64_t feed_period_us = 0; // 0: nobody waits for us
std::uint64_t next_feed = 0;      // monotonic_us; 0: in the first pass
bool watchdog_trouble_told = false;

// Readiness that the manager was too busy to hear: it would end a driver that serves.
std::string untold_readiness;
std::uint64_t next_readiness = 0; // monotonic_us

// Where the service manager listens, when there is one.
std::optional<manager_address> find_manager() {
    const char* path = std::getenv("NOTIFY_SOCKET");
    manager_address manager;
    if (path == nullptr || (path[0] != '/' && path[0] != '@') ||
        std::strlen(path) >= sizeof(manager.name.sun_path))
        return std::nullopt;
    manager.name.sun_family = AF_UNIX;
    std::memcpy(manager.name.sun_path, path, std::strlen(path));
    if (path[0] == '@') // an abstract name begins with a NUL byte
        manager.name.sun_path[0] = '\0';
    manager.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    return manager;
}

bool send_datagram(int fd, const manager_address& manager, std::string_view text, int flags) {
    return sendto(fd, text.data(), text.size(), MSG_NOSIGNAL | flags,
                  reinterpret_cast<const sockaddr*>(&manager.name), manager.size) >= 0;
}

void print_trouble() {
    std::fprintf(stderr, "The service manager could not be told: %s\n", std::strerror(errno));
}

// One datagram to the service manager. False when there is one and it was not told.
bool notify_service_manager(const std::string& text, int flags = 0) {
    const std::optional<manager_address> manager = find_manager();
    if (!manager)
        return true;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &notify_patience, sizeof(notify_patience));
    const bool told = send_datagram(fd, *manager, text, flags);
    const int error = errno;
    close(fd);
    errno = error;
    return told;
}

void notify_or_print_trouble(const std::string& text) {
    if (!notify_service_manager(text))
        print_trouble();
}

// One line to whoever passed --ready-fd. A reader that is gone is no trouble of ours.
void tell_ready_fd(const std::string& line) {
    if (vrdx_ready_fd < 0)
        return;
    const ssize_t written = write(vrdx_ready_fd, line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size()))
        std::fprintf(stderr, "Readiness could not be told on descriptor %d\n", vrdx_ready_fd);
}

// A positive decimal number in the environment; 0 for none and for anything else.
std::uint64_t number_from_environment(const char* name) {
    const char* text = std::getenv(name);
    if (text == nullptr)
        return 0;
    const char* end = text + std::strlen(text);
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text, end, number);
    return error == std::errc{} && rest == end ? number : 0;
}

// WATCHDOG_PID keeps a child that inherited the environment from speaking for its parent.
bool watchdog_is_ours() {
    return std::getenv("WATCHDOG_PID") == nullptr ||
           number_from_environment("WATCHDOG_PID") == static_cast<std::uint64_t>(getpid());
}

} // namespace

void vrdx_watchdog_begin() {
    const std::uint64_t period_us = number_from_environment("WATCHDOG_USEC");
    const std::optional<manager_address> manager = find_manager();
    if (period_us < feeds_per_period * retries_per_feed || !manager || !watchdog_is_ours())
        return;
    watchdog_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (watchdog_fd < 0) {
        print_trouble();
        return;
    }
    watchdog_manager = *manager;
    feed_period_us = period_us / feeds_per_period;
}

void vrdx_watchdog_feed_when_due() {
    if (feed_period_us == 0)
        return;
    const std::uint64_t now = monotonic_us();
    if (now < next_feed)
        return;
    // The pass never waits for the manager; one that is too busy to read is told again before it misses us.
    const bool told = send_datagram(watchdog_fd, watchdog_manager, "WATCHDOG=1", MSG_DONTWAIT);
    if (!told && !watchdog_trouble_told)
        print_trouble();
    watchdog_trouble_told = !told;
    next_feed = now + (told ? feed_period_us : feed_period_us / retries_per_feed);
}

void vrdx_readiness_repeat_when_due() {
    if (untold_readiness.empty() || monotonic_us() < next_readiness)
        return;
    if (notify_service_manager(untold_readiness, MSG_DONTWAIT))
        untold_readiness.clear();
    next_readiness = monotonic_us() + readiness_retry_us;
}

void vrdx_status_write(int percent, const char* text) {
    tell_ready_fd("status " + std::to_string(percent) + " " + text + "\n");
    notify_or_print_trouble("STATUS=Starting, " + std::to_string(percent) + " % " + text);
}

void vrdx_ready_write(int ready, const char* text) {
    tell_ready_fd("ready " + std::to_string(ready) + " " + text + "\n");
    const std::string readiness =
        "READY=" + std::to_string(ready) + "\nSTATUS=" + text + "\nMAINPID=" + std::to_string(getpid());
    if (!notify_service_manager(readiness)) {
        print_trouble();
        untold_readiness = readiness;
    }
    if (vrdx_ready_fd > STDERR_FILENO)
        close(vrdx_ready_fd);
    vrdx_ready_fd = -1;
}

void vrdx_stopping_write(const char* text) {
    untold_readiness.clear();
    notify_or_print_trouble(std::string("STOPPING=1\nSTATUS=") + text);
}
