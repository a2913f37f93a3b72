// Asking a driver and waiting for what it says, until a deadline (a monotonic_us() count).
#pragma once

#include "client_connection.h"

namespace vrdx {

// Connects, and tries again while too many others wait for the driver. Returns done, gone or late; unless
// done, `problem` says why.
outcome connect_until(driver_connection* connection, const std::string& path, std::uint64_t deadline);

// Waits for the reply to the request with this number, which queue_request() returned; also for the answer to
// a take. Other packets are kept for next_packet(). Returns done (the reply may be an `error`), gone, late or
// rejected; `problem` says why. The connection is closed after anything but done, so that a late reply is not
// read as the reply to the next request. A number of 0 is rejected at once and changes nothing.
outcome wait_for_reply(driver_connection* connection, std::uint64_t request, comm_socket_v4_packet* reply,
                       std::uint64_t deadline);

// Sends `request` and waits for its reply. The same outcomes; a request that cannot be sent is rejected, and
// then an open connection stays open.
outcome ask_until(driver_connection* connection, const comm_socket_v4_packet& request,
                  comm_socket_v4_packet* reply, std::uint64_t deadline);

// Waits for any packet. Returns done, gone, late or rejected; after late the connection stays open.
outcome wait_for_packet(driver_connection* connection, incoming_packet* packet, std::uint64_t deadline);

} // namespace vrdx
