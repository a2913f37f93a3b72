#include "watcher_crowd.h"

#include "board.h"
#include "comm_socket_v4_packet.h"
#include "requests.h"
#include "socket_address.h"

#include <stdexcept>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int quiet_ms = 50; // without a word: all that was told at the beginning is read
constexpr int stuck_after_ms = 5000;
constexpr std::size_t command_at = comm_packet_header_bytes + 5; // behind its kind and its length

} // namespace

watcher_crowd::watcher_crowd(const std::string& socket, std::size_t count)
    : watchers_(count), epoll_fd_(epoll_create1(EPOLL_CLOEXEC)) {
    const std::string request = watch_request();
    for (std::size_t i = 0; i < count; ++i) {
        const int fd = watchers_[i].fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0 || connect_socket_path(fd, socket) != 0 ||
            send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
            throw std::runtime_error("cannot watch " + socket);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = i;
        epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, fd, &event);
    }
    while (read_events(quiet_ms)) {
    }
}

watcher_crowd::~watcher_crowd() {
    close(epoll_fd_);
    for (const watcher& one : watchers_)
        close(one.fd);
}

void watcher_crowd::begin() {
    while (read_events(0)) {
    }
    for (watcher& one : watchers_)
        one.told = false;
    untold_ = watchers_.size();
    times_ = {};
}

told_times watcher_crowd::wait() {
    while (untold_ > 0)
        if (!read_events(stuck_after_ms))
            throw std::runtime_error("a watcher is not told of a change");
    return times_;
}

// False when nothing came.
bool watcher_crowd::read_events(int wait_ms) {
    epoll_event events[64];
    const int count = epoll_wait(epoll_fd_, events, 64, wait_ms);
    for (int i = 0; i < count; ++i)
        read_packets(watchers_[events[i].data.u64]);
    return count > 0;
}

void watcher_crowd::read_packets(watcher& one) {
    static char chunk[65536];
    const ssize_t count = recv(one.fd, chunk, sizeof(chunk), MSG_DONTWAIT);
    if (count <= 0)
        throw std::runtime_error("a watcher was disconnected");
    one.text.append(chunk, static_cast<std::size_t>(count));
    read_whole_packets(one);
}

void watcher_crowd::read_whole_packets(watcher& one) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(one.text.data());
    std::size_t size = 0;
    std::size_t at = 0;
    for (;
         comm_socket_v4_packet_frame(bytes + at, one.text.size() - at, &size) == comm_packet_frame::complete;
         at += size) {
        const std::string_view packet(one.text.data() + at, size);
        if (packet.substr(command_at).starts_with("change")) {
            times_.last = clock_ns();
            if (times_.first == 0) {
                times_.first = times_.last;
                last_change_ = packet;
            }
            untold_ -= one.told || untold_ == 0 ? 0 : 1;
            one.told = true;
        }
    }
    one.text.erase(0, at);
}
