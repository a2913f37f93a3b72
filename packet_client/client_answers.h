// Finds the request that an incoming packet answers. For this library alone.
#pragma once

#include "client_connection.h"

namespace vrdx {

// True when `request` is a take and a take with the same id has no answer yet.
bool awaits_take(const driver_connection& connection, const awaited_request& request);

// Sets the kind of the packet and the number of the request that it answers, and removes that request from
// those that wait for an answer.
void tell_apart(driver_connection* connection, incoming_packet* incoming);

} // namespace vrdx
