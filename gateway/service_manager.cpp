#include "gateway/service_manager.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace gateway {

namespace {

std::uint64_t number_from_environment(const char* name) {
    const char* text = std::getenv(name);
    std::uint64_t number = 0;
    if (text == nullptr)
        return 0;
    const char* end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    return error == std::errc{} && rest == end ? number : 0;
}

} // namespace

bool tell_service_manager(const std::string& text) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un name{};
    if (path == nullptr || (path[0] != '/' && path[0] != '@') || std::strlen(path) >= sizeof(name.sun_path))
        return true;
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, path, std::strlen(path));
    if (path[0] == '@') // an abstract name begins with a NUL byte
        name.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const ssize_t sent = sendto(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                                reinterpret_cast<const sockaddr*>(&name), size);
    close(fd);
    return sent >= 0;
}

std::uint64_t watchdog_period_ms() {
    const std::uint64_t of = number_from_environment("WATCHDOG_PID");
    if (of != 0 && of != static_cast<std::uint64_t>(getpid()))
        return 0; // our parent's
    constexpr std::uint64_t us_in_half_a_period_ms = 2000;
    return number_from_environment("WATCHDOG_USEC") / us_in_half_a_period_ms;
}

bool tell_ready_fd(int fd, const std::string& text) {
    if (fd < 0)
        return true;
    const ssize_t written = write(fd, text.data(), text.size());
    if (fd > STDERR_FILENO)
        close(fd);
    return written == static_cast<ssize_t>(text.size());
}

} // namespace gateway
