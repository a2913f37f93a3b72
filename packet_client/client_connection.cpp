#include "client_connection.h"

#include "client_answers.h"
#include "client_limits.h"
#include "client_texts.h"
#include "comm_socket_v4_limits.h"
#include "socket_address.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vrdx {

namespace {

constexpr std::size_t largest_packet = comm_packet_header_bytes + comm_max_packet_bytes;

bool would_block() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

std::size_t unread_bytes(const driver_connection& connection) {
    return connection.received.size() - connection.consumed;
}

// Small items need more memory than their bytes.
std::size_t memory_of(const comm_socket_v4_packet& packet) {
    return sizeof(incoming_packet) + packet.bytes.size() +
           packet.items.size() * (sizeof packet.items.front() + sizeof packet.entries.front());
}

void close_descriptor(driver_connection* connection) {
    if (connection->fd >= 0)
        close(connection->fd);
    connection->fd = -1;
    connection->outgoing.clear();
    connection->sent = 0;
}

// Complete packets that have come can still be read.
void end_connection(driver_connection* connection, outcome why, std::string problem) {
    close_descriptor(connection);
    connection->end = why;
    connection->problem = std::move(problem);
}

std::uint64_t refuse(driver_connection* connection, std::string problem) {
    connection->problem = std::move(problem);
    return 0;
}

// A driver that refuses a client answers at once and closes: its answer is more useful than the broken pipe.
void write_bytes(driver_connection* connection) {
    while (!connection->hears_nothing && connection->sent < connection->outgoing.size()) {
        const ssize_t count = send(connection->fd, connection->outgoing.data() + connection->sent,
                                   connection->outgoing.size() - connection->sent, MSG_NOSIGNAL);
        if (count < 0) {
            connection->hears_nothing = !would_block();
            return;
        }
        connection->sent += static_cast<std::size_t>(count);
    }
    connection->outgoing.clear();
    connection->sent = 0;
}

bool read_bytes(driver_connection* connection) {
    std::size_t left = read_bytes_per_turn;
    std::array<char, 65536> chunk; // not initialised: recv says how much of it counts
    while (left > 0 && unread_bytes(*connection) < largest_packet) {
        const ssize_t count = recv(connection->fd, chunk.data(), std::min(left, chunk.size()), 0);
        if (count < 0 && would_block())
            return true;
        if (count <= 0) {
            end_connection(connection, outcome::gone, "the driver closed the connection");
            return false;
        }
        connection->received.append(chunk.data(), static_cast<std::size_t>(count));
        left -= static_cast<std::size_t>(count);
    }
    return true;
}

// Removes what was handed out, but only when it is worth the copying.
void drop_consumed(driver_connection* connection) {
    if (connection->consumed * 2 < connection->received.size())
        return;
    connection->received.erase(0, connection->consumed);
    connection->consumed = 0;
    if (connection->received.empty() && connection->received.capacity() > read_bytes_per_turn)
        connection->received.shrink_to_fit();
}

} // namespace

int open_connection(driver_connection* connection, const std::string& path) {
    close_connection(connection);
    connection->path = path;
    connection->problem.clear();
    connection->error = 0;
    connection->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection->fd >= 0 && connect_socket_path(connection->fd, path) == 0)
        return 0;
    connection->error = errno;
    end_connection(connection, outcome::gone,
                   "no driver at " + path + ": " + std::strerror(connection->error));
    return -1;
}

void close_connection(driver_connection* connection) {
    close_descriptor(connection);
    connection->received.clear();
    connection->consumed = 0;
    connection->awaited.clear();
    connection->kept.clear();
    connection->kept_bytes = 0;
    connection->hears_nothing = false;
    connection->end = outcome::gone;
}

std::uint64_t queue_request(driver_connection* connection, const comm_socket_v4_packet& request) {
    if (connection->fd < 0)
        return refuse(connection, "there is no connection to a driver");
    if (request.too_large)
        return refuse(connection,
                      "the request is larger than " + std::to_string(comm_max_packet_bytes) + " bytes");
    comm_socket_v4_packet read; // what was written can be asked only after it was read
    const auto* bytes = reinterpret_cast<const unsigned char*>(request.bytes.data());
    if (request.writing || !comm_socket_v4_packet_decode(&read, bytes, request.bytes.size()))
        return refuse(connection, "the request is no finished packet");
    if (connection->awaited.size() >= awaited_requests_limit ||
        connection->outgoing.size() - connection->sent + request.bytes.size() > outgoing_bytes_limit)
        return refuse(connection, "too many requests wait for the driver");
    awaited_request awaited{connection->newest_request + 1, std::string(command_of(read)),
                            std::string(entry_value(read, "id"))};
    if (awaits_take(*connection, awaited))
        return refuse(connection, "a take of this id still awaits its answer");
    connection->outgoing.erase(0, connection->sent);
    connection->sent = 0;
    connection->outgoing += request.bytes;
    connection->awaited.push_back(std::move(awaited));
    return ++connection->newest_request;
}

short poll_events(const driver_connection& connection) {
    const bool reads = unread_bytes(connection) < largest_packet;
    const bool writes = !connection.hears_nothing && connection.sent < connection.outgoing.size();
    return static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
}

bool move_bytes(driver_connection* connection) {
    if (connection->fd < 0)
        return false;
    write_bytes(connection);
    return read_bytes(connection);
}

bool next_fresh_packet(driver_connection* connection, incoming_packet* packet) {
    const auto* data =
        reinterpret_cast<const unsigned char*>(connection->received.data()) + connection->consumed;
    std::size_t size = 0;
    const auto frame = comm_socket_v4_packet_frame(data, unread_bytes(*connection), &size);
    if (frame == comm_packet_frame::incomplete)
        return false;
    if (frame == comm_packet_frame::complete && comm_socket_v4_packet_decode(&packet->packet, data, size)) {
        connection->consumed += size;
        drop_consumed(connection);
        tell_apart(connection, packet);
        return true;
    }
    end_connection(connection, outcome::rejected, "what answers at " + connection->path + " is no driver");
    connection->received.clear();
    connection->consumed = 0;
    return false;
}

bool next_packet(driver_connection* connection, incoming_packet* packet) {
    if (connection->kept.empty())
        return next_fresh_packet(connection, packet);
    *packet = std::move(connection->kept.front());
    connection->kept.pop_front();
    connection->kept_bytes -= memory_of(packet->packet);
    return true;
}

bool keep_packet(driver_connection* connection, incoming_packet packet) {
    const std::size_t memory = memory_of(packet.packet);
    if (connection->kept_bytes + memory > kept_bytes_limit) {
        end_connection(connection, outcome::rejected, "the driver tells more than can be kept");
        return false;
    }
    connection->kept_bytes += memory;
    connection->kept.push_back(std::move(packet));
    return true;
}

} // namespace vrdx
