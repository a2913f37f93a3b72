#include "server_surroundings.h"

#include "monotonic_us.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

ucred next_peer{4711, 1000, 1000};
bool peer_is_unknown = false;
std::atomic<std::uint64_t> clock_ahead_us = 0;
std::atomic<std::uint64_t> clock_stands_at = 0;
thread_local counted_calls calls_made;

std::uint64_t monotonic_us() {
    if (clock_stands_at != 0)
        return clock_stands_at;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000 +
           clock_ahead_us;
}

extern "C" {

int getsockopt(int fd, int level, int name, void* value, socklen_t* size) noexcept {
    if (level != SOL_SOCKET || name != SO_PEERCRED)
        return static_cast<int>(syscall(SYS_getsockopt, fd, level, name, value, size));
    if (peer_is_unknown) {
        errno = ENOPROTOOPT;
        return -1;
    }
    std::memcpy(value, &next_peer, sizeof(next_peer));
    return 0;
}

int epoll_pwait2(int epoll_fd, epoll_event* events, int room, const timespec* timeout, const sigset_t* mask) {
    ++calls_made.waits;
    return static_cast<int>(
        syscall(SYS_epoll_pwait2, epoll_fd, events, room, timeout, mask, static_cast<std::size_t>(NSIG / 8)));
}

int epoll_ctl(int epoll_fd, int operation, int fd, epoll_event* event) noexcept {
    ++calls_made.changes;
    return static_cast<int>(syscall(SYS_epoll_ctl, epoll_fd, operation, fd, event));
}

ssize_t recv(int fd, void* data, std::size_t size, int flags) {
    ++calls_made.receives;
    return syscall(SYS_recvfrom, fd, data, size, flags, nullptr, nullptr);
}

ssize_t send(int fd, const void* data, std::size_t size, int flags) {
    ++calls_made.sends;
    return syscall(SYS_sendto, fd, data, size, flags, nullptr, 0);
}

} // extern "C"
