// What a packet that came answers. For this library alone.
#pragma once

#include "client_connection.h"

namespace vrdx {

// True when `request` is a take and one of its id has no answer yet.
bool awaits_take(const driver_connection& connection, const awaited_request& request);

// Tells what kind of packet came and which request it answers; that one is awaited no more.
void tell_apart(driver_connection* connection, incoming_packet* incoming);

} // namespace vrdx
