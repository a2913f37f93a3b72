#include "vrdx.h"

#include "plain_text.h"
#include "vrdx_internal.h"

#include <cerrno>
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

// How long a service manager that is busy starting others may need to read. Only start-up and shutdown wait.
constexpr timeval notify_patience{1, 0};

// The watchdog is fed this many times per period; after a failed attempt the next one comes so many times
// sooner.
constexpr std::uint64_t feeds_per_period = 2;
constexpr std::uint64_t retries_per_feed = 4;
constexpr std::uint64_t readiness_retry_us = 1000000;

struct manager_address {
    sockaddr_un name{};
    socklen_t size = 0;
};

// Kept open while there is a watchdog, so that the driver can feed it even when it has no descriptors left.
int watchdog_fd = -1;
manager_address watchdog_manager;
std::uint64_t feed_period_us = 0; // 0: there is no watchdog
std::uint64_t next_feed = 0;      // monotonic_us; 0: in the first pass
bool watchdog_trouble_told = false;

// The message that we are ready, if the manager was too busy to read it: without it the manager would end the
// driver.
std::string untold_readiness;
std::uint64_t next_readiness = 0; // monotonic_us

// The socket of the service manager, if there is one.
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

// Sends one datagram to the service manager. False when there is a manager and it could not be sent.
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

// Writes one line to --ready-fd. It does not matter if its reader is gone.
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
    return text == nullptr ? 0 : number_of_digits<std::uint64_t>(text).value_or(0);
}

// WATCHDOG_PID: a child that has inherited the environment must not feed the watchdog of its parent.
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
    // Never waits for the manager. When it is too busy to read, the message is sent again in time.
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
