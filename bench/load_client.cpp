#include "load_client.h"

#include "board.h"
#include "comm_socket_v4_packet.h"
#include "socket_address.h"
#include "statistics.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int warm_up_requests = 200;
constexpr double warm_up_share = 0.2; // of a crowd's time, beforehand
constexpr int stuck_after_ms = 5000;

char chunk[65536]; // what comes back is counted, not kept

double microseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1000;
}

struct crowd_client {
    int fd = -1;
    std::size_t left = 0; // bytes of the reply under way
    std::uint64_t sent_at = 0;
};

void send_request(crowd_client& client, const load_target& target) {
    client.left = target.reply_bytes;
    client.sent_at = clock_ns();
    if (send(client.fd, target.request.data(), target.request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(target.request.size()))
        throw std::runtime_error("a request was not taken");
}

// Reads what has arrived; true when the reply is whole.
bool take_reply(crowd_client& client) {
    const ssize_t count = recv(client.fd, chunk, std::min(sizeof(chunk), client.left), MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN))
        throw std::runtime_error("a server closed a connection");
    client.left -= count > 0 ? static_cast<std::size_t>(count) : 0;
    return client.left == 0;
}

// Until the time is up; the times of all replies that were complete by then.
std::vector<double> drive(std::vector<crowd_client>& clients, int epoll_fd, const load_target& target,
                          double seconds) {
    std::vector<double> times;
    const std::uint64_t end = clock_ns() + static_cast<std::uint64_t>(seconds * 1e9);
    epoll_event events[64];
    for (std::uint64_t now = clock_ns(); now < end; now = clock_ns()) {
        const int count = epoll_wait(epoll_fd, events, 64, stuck_after_ms);
        if (count == 0)
            throw std::runtime_error("a server has stopped answering");
        for (int i = 0; i < count; ++i) {
            crowd_client& client = clients[events[i].data.u64];
            if (!take_reply(client))
                continue;
            times.push_back(microseconds(client.sent_at, clock_ns()));
            send_request(client, target);
        }
    }
    return times;
}

int connect_to(const std::string& path, int patience_ms = stuck_after_ms) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect_socket_path(fd, path) != 0) {
        close(fd);
        throw std::runtime_error("cannot connect to " + path);
    }
    const timeval patience{patience_ms / 1000, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    return fd;
}

} // namespace

load_connection::load_connection(const std::string& socket, int patience_ms)
    : fd_(connect_to(socket, patience_ms)) {}

load_connection::~load_connection() {
    close(fd_);
}

void load_connection::hang_up() const {
    shutdown(fd_, SHUT_RDWR);
}

void load_connection::send(const std::string& bytes) const {
    if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("a request was not taken");
}

void load_connection::receive(std::size_t bytes) const {
    while (bytes > 0) {
        const ssize_t count = recv(fd_, chunk, std::min(sizeof(chunk), bytes), 0);
        if (count <= 0 && errno != EINTR)
            throw std::runtime_error("a server has stopped answering");
        bytes -= count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void load_connection::receive_packet(std::string* packet) const {
    std::size_t size = 0;
    packet->clear();
    do {
        const ssize_t count = recv(fd_, chunk, sizeof(chunk), 0);
        if (count <= 0 && errno != EINTR)
            throw std::runtime_error("a server has stopped answering");
        packet->append(chunk, count > 0 ? static_cast<std::size_t>(count) : 0);
    } while (comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(packet->data()),
                                         packet->size(), &size) != comm_packet_frame::complete);
}

double round_trip(const load_connection& connection, const load_target& target) {
    const std::uint64_t begin = clock_ns();
    connection.send(target.request);
    connection.receive(target.reply_bytes);
    return microseconds(begin, clock_ns());
}

std::vector<double> round_trips(const load_target& target, int count) {
    const load_connection connection(target.socket);
    for (int i = 0; i < warm_up_requests; ++i)
        round_trip(connection, target);
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        times.push_back(round_trip(connection, target));
    return times;
}

crowd_result crowd(const load_target& target, int clients, double seconds) {
    std::vector<crowd_client> all(static_cast<std::size_t>(clients));
    const int epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i].fd = connect_to(target.socket);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = i;
        epoll_ctl(epoll_fd, EPOLL_CTL_ADD, all[i].fd, &event);
        send_request(all[i], target);
    }
    drive(all, epoll_fd, target, seconds * warm_up_share);
    const std::uint64_t begin = clock_ns();
    const std::vector<double> times = drive(all, epoll_fd, target, seconds);
    const double took = microseconds(begin, clock_ns()) / 1e6;
    close(epoll_fd);
    for (const crowd_client& client : all)
        close(client.fd);
    return {static_cast<double>(times.size()) / took, percentile(times, 0.99)};
}
