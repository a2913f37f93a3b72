#include "comm_socket_v4_connection.h"

#include "monotonic_us.h"
#include "socket_address.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

enum class progress { some, none, gone };

bool would_block() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

progress send_some(int fd, const std::string& bytes, std::size_t* sent) {
    if (*sent == bytes.size())
        return progress::none;
    const ssize_t count = send(fd, bytes.data() + *sent, bytes.size() - *sent, MSG_NOSIGNAL);
    if (count < 0)
        return would_block() ? progress::none : progress::gone;
    *sent += static_cast<std::size_t>(count);
    return progress::some;
}

progress receive_some(comm_socket_v4_connection* connection) {
    std::array<char, 65536> chunk; // not initialised: recv says how much of it counts
    const ssize_t count = recv(connection->fd, chunk.data(), chunk.size(), 0);
    if (count < 0)
        return would_block() ? progress::none : progress::gone;
    if (count == 0) {
        errno = 0; // closed in order
        return progress::gone;
    }
    connection->received.append(chunk.data(), static_cast<std::size_t>(count));
    return progress::some;
}

// Sleeps until the socket can go on, the deadline, or a signal. False at the deadline.
bool wait_for_socket(int fd, bool for_writing, std::uint64_t deadline) {
    const std::uint64_t now = monotonic_us();
    if (now >= deadline)
        return false;
    const std::uint64_t left = deadline - now;
    const timespec limit{static_cast<time_t>(left / 1000000), static_cast<long>(left % 1000000) * 1000};
    pollfd waiting{fd, static_cast<short>(for_writing ? POLLIN | POLLOUT : POLLIN), 0};
    ppoll(&waiting, 1, &limit, nullptr); // an error or a signal leads to another look at the socket
    return true;
}

// Hands out the packet that stands at the start of what was received.
comm_exchange give_reply(comm_socket_v4_connection* connection, std::size_t size,
                         comm_socket_v4_packet* reply) {
    const auto* data = reinterpret_cast<const unsigned char*>(connection->received.data());
    const bool decoded = comm_socket_v4_packet_decode(reply, data, size);
    connection->received.erase(0, size);
    return decoded ? comm_exchange::done : comm_exchange::rejected;
}

// Sends and receives until a reply is there. The reply may come before the whole request is sent: a driver
// that refuses a client answers at once and closes, and that answer is more useful than the broken pipe.
comm_exchange converse(comm_socket_v4_connection* connection, const std::string& request, std::size_t* sent,
                       comm_socket_v4_packet* reply, std::uint64_t deadline) {
    bool broken_pipe = false;
    for (;;) {
        std::size_t size = 0;
        const auto* data = reinterpret_cast<const unsigned char*>(connection->received.data());
        const auto frame = comm_socket_v4_packet_frame(data, connection->received.size(), &size);
        if (frame == comm_packet_frame::complete)
            return give_reply(connection, size, reply);
        if (frame == comm_packet_frame::invalid)
            return comm_exchange::rejected;

        progress sending = progress::none;
        if (!broken_pipe) {
            sending = send_some(connection->fd, request, sent);
            broken_pipe = sending == progress::gone;
        }
        const progress receiving = receive_some(connection);
        if (receiving == progress::gone)
            return comm_exchange::gone;
        const bool moved = sending == progress::some || receiving == progress::some;
        const bool more_to_send = !broken_pipe && *sent < request.size();
        if (!moved && !wait_for_socket(connection->fd, more_to_send, deadline))
            return comm_exchange::late;
    }
}

} // namespace

int comm_socket_v4_connect(comm_socket_v4_connection* connection, const std::string& path) {
    comm_socket_v4_disconnect(connection);
    connection->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection->fd < 0)
        return -1;
    if (connect_socket_path(connection->fd, path) == 0)
        return 0;
    comm_socket_v4_disconnect(connection);
    return -1;
}

void comm_socket_v4_disconnect(comm_socket_v4_connection* connection) {
    const int reason = errno;
    if (connection->fd >= 0)
        close(connection->fd);
    connection->fd = -1;
    connection->received.clear();
    errno = reason;
}

comm_exchange comm_socket_v4_exchange(comm_socket_v4_connection* connection,
                                      const comm_socket_v4_packet& request, comm_socket_v4_packet* reply,
                                      std::uint64_t deadline) {
    if (request.too_large || request.writing || request.bytes.size() <= comm_packet_header_bytes)
        return comm_exchange::rejected;
    if (connection->fd < 0) {
        errno = ENOTCONN;
        return comm_exchange::gone;
    }
    std::size_t sent = 0;
    const comm_exchange outcome = converse(connection, request.bytes, &sent, reply, deadline);
    if (outcome != comm_exchange::done || sent < request.bytes.size())
        comm_socket_v4_disconnect(connection); // what comes next would answer an earlier request
    return outcome;
}
