// Asking a driver and waiting for what it says, until a deadline (a monotonic_us() count).
#pragma once

#include "client_connection.h"

namespace vrdx {

// Connects, again and again while too many others wait for the driver. done, gone or late; unless done,
// `problem` says why.
outcome connect_until(driver_connection* connection, const std::string& path, std::uint64_t deadline);

// Waits for what answers the request of this number, as queue_request() gave it; a take's answer, too. Other
// packets are kept for next_packet(). done (the reply may be an `error`), gone, late or rejected; `problem`
// says why. Anything but done leaves the connection closed, so that what comes late is not read as the next
// answer. A number of 0 is rejected at once and changes nothing.
outcome wait_for_reply(driver_connection* connection, std::uint64_t request, comm_socket_v4_packet* reply,
                       std::uint64_t deadline);

// Sends `request` and waits for its reply. The same outcomes; a request that cannot be sent is rejected, and
// an open connection stays open then.
outcome ask_until(driver_connection* connection, const comm_socket_v4_packet& request,
                  comm_socket_v4_packet* reply, std::uint64_t deadline);

// Waits for any packet. done, gone, late or rejected; after late the connection goes on.
outcome wait_for_packet(driver_connection* connection, incoming_packet* packet, std::uint64_t deadline);

} // namespace vrdx
