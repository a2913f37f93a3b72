#include "vrdx.h"

#include "vrdx_internal.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// What a service manager that is busy starting others may take to read. Only start-up ever waits for it.
constexpr timeval notify_patience{1, 0};

// One datagram to the service manager, when there is one.
void notify_service_manager(const std::string& text) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || (path[0] != '/' && path[0] != '@') ||
        std::strlen(path) >= sizeof(address.sun_path))
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, std::strlen(path));
    if (path[0] == '@') // an abstract name begins with a NUL byte
        address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &notify_patience, sizeof(notify_patience));
    if (sendto(fd, text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
               size) < 0)
        std::fprintf(stderr, "The service manager could not be told: %s\n", std::strerror(errno));
    close(fd);
}

// One line to whoever passed --ready-fd. A reader that is gone is no trouble of ours.
void tell_ready_fd(const std::string& line) {
    if (vrdx_ready_fd < 0)
        return;
    const ssize_t written = write(vrdx_ready_fd, line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size()))
        std::fprintf(stderr, "Readiness could not be told on descriptor %d\n", vrdx_ready_fd);
}

} // namespace

void vrdx_status_write(int percent, const char* text) {
    tell_ready_fd("status " + std::to_string(percent) + " " + text + "\n");
    notify_service_manager("STATUS=Starting, " + std::to_string(percent) + " % " + text);
}

void vrdx_ready_write(int ready, const char* text) {
    tell_ready_fd("ready " + std::to_string(ready) + " " + text + "\n");
    notify_service_manager("READY=" + std::to_string(ready) + "\nSTATUS=" + text +
                           "\nMAINPID=" + std::to_string(getpid()));
    if (vrdx_ready_fd > STDERR_FILENO)
        close(vrdx_ready_fd);
    vrdx_ready_fd = -1;
}
