// The client side: one connection to a driver's socket, for tools. Requests are answered in order.
#pragma once

#include "comm_socket_v4_packet.h"

#include <cstdint>
#include <string>

struct comm_socket_v4_connection {
    int fd = -1;          // -1 while not connected
    std::string received; // bytes beyond the last packet handed out
};

enum class comm_exchange {
    done,     // a reply was read
    gone,     // the driver closed the connection, or reading or writing failed (errno tells)
    late,     // the deadline passed first
    rejected, // the request is too large to be sent, or the reply is no packet
};

// Connects to the socket at `path` (of any length), without waiting: EAGAIN says that too many connections
// already wait for the driver. 0, or -1 with errno set.
int comm_socket_v4_connect(comm_socket_v4_connection* connection, const std::string& path);
void comm_socket_v4_disconnect(comm_socket_v4_connection* connection);

// Sends the finished `request` and waits for its reply until `deadline` (absolute, monotonic_us). A
// connection that is out of step afterwards (anything but `done`, once something was sent) is disconnected. A
// reply that the driver sends before it closes the connection is delivered.
comm_exchange comm_socket_v4_exchange(comm_socket_v4_connection* connection,
                                      const comm_socket_v4_packet& request, comm_socket_v4_packet* reply,
                                      std::uint64_t deadline);
