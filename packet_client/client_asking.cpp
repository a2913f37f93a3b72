#include "client_asking.h"

#include "client_limits.h"
#include "monotonic_us.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <poll.h>

namespace vrdx {

namespace {

timespec duration(std::uint64_t microseconds) {
    return {static_cast<time_t>(microseconds / 1000000), static_cast<long>(microseconds % 1000000) * 1000};
}

// Sleeps until the socket can go on, the deadline, or a signal. False at the deadline.
bool wait_for_socket(const driver_connection& connection, std::uint64_t deadline) {
    const std::uint64_t now = monotonic_us();
    if (now >= deadline)
        return false;
    const timespec limit = duration(deadline - now);
    pollfd waiting{connection.fd, poll_events(connection), 0};
    ppoll(&waiting, 1, &limit, nullptr); // an error or a signal leads to another look at the socket
    return true;
}

// The reply to `request` among the packets that were kept.
bool kept_reply(driver_connection* connection, std::uint64_t request, incoming_packet* packet) {
    auto& kept = connection->kept;
    const auto found = std::find_if(
        kept.begin(), kept.end(), [request](const incoming_packet& each) { return each.request == request; });
    if (found == kept.end())
        return false;
    std::rotate(kept.begin(), found, found + 1); // next_packet() gives out the first one, and counts
    return next_packet(connection, packet);
}

// Reads what came up to the reply to `request`; what is something else is kept.
bool fresh_reply(driver_connection* connection, std::uint64_t request, incoming_packet* packet) {
    while (next_fresh_packet(connection, packet)) {
        if (packet->request == request)
            return true;
        if (!keep_packet(connection, std::move(*packet)))
            return false;
    }
    return false;
}

outcome fail(driver_connection* connection, outcome why, std::string problem) {
    close_connection(connection);
    connection->problem = std::move(problem);
    return why;
}

} // namespace

outcome connect_until(driver_connection* connection, const std::string& path, std::uint64_t deadline) {
    while (open_connection(connection, path) != 0) {
        if (connection->error != EAGAIN)
            return outcome::gone;
        const std::uint64_t now = monotonic_us();
        if (now >= deadline)
            return fail(connection, outcome::late, "the driver accepts no connection in time");
        const timespec pause = duration(std::min(connect_pause_us, deadline - now));
        ppoll(nullptr, 0, &pause, nullptr);
    }
    return outcome::done;
}

outcome wait_for_reply(driver_connection* connection, std::uint64_t request, comm_socket_v4_packet* reply,
                       std::uint64_t deadline) {
    if (request == 0) // nothing was queued, and `problem` says why
        return outcome::rejected;
    incoming_packet packet;
    bool found = kept_reply(connection, request, &packet);
    bool open = connection->fd >= 0;
    while (!found) {
        found = fresh_reply(connection, request, &packet);
        if (found)
            break;
        if (!open || connection->fd < 0) // the last look was at what had come before the end
            return fail(connection, connection->end,
                        connection->end == outcome::gone
                            ? "the driver closed the connection without an answer"
                            : std::string(connection->problem));
        if (!wait_for_socket(*connection, deadline))
            return fail(connection, outcome::late, "no answer in time");
        open = move_bytes(connection);
    }
    *reply = std::move(packet.packet);
    return outcome::done;
}

outcome ask_until(driver_connection* connection, const comm_socket_v4_packet& request,
                  comm_socket_v4_packet* reply, std::uint64_t deadline) {
    const std::uint64_t number = queue_request(connection, request);
    if (number == 0)
        return connection->fd < 0 ? outcome::gone : outcome::rejected;
    move_bytes(connection); // mostly all of it goes at once
    return wait_for_reply(connection, number, reply, deadline);
}

outcome wait_for_packet(driver_connection* connection, incoming_packet* packet, std::uint64_t deadline) {
    for (;;) {
        if (next_packet(connection, packet))
            return outcome::done;
        if (connection->fd < 0)
            return connection->end;
        if (!wait_for_socket(*connection, deadline))
            return outcome::late;
        move_bytes(connection);
    }
}

} // namespace vrdx
