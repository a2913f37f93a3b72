// What a driver knows that drivers before it did not.
#pragma once

#include "client_asking.h"

namespace vrdx {

struct driver_features {
    bool take_until = false; // takes that are refused when they are read too late: take_order::until_ms
};

comm_socket_v4_packet features_request();

// What the reply to it tells: nothing of it, when a driver that is older than the question answers `error`.
driver_features features_in(const comm_socket_v4_packet& reply);

// Asks for them. Returns done, also where an older driver knows none, or what ask_until() returns.
outcome features_until(driver_connection* connection, driver_features* features, std::uint64_t deadline);

} // namespace vrdx
