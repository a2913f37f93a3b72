// A request of a lane to a driver, and how it may end.
#pragma once

#include "gateway/routers/take_ending.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gateway {

struct lane_request {
    comm_socket_v4_packet packet; // finished; of takes once write_packet() was called
    vrdx::take_order order;       // of takes; else without any
    last_look look;               // perhaps none
    std::string id;               // of the order, as its asker gave it; the driver has another
    std::vector<int> outputs;     // of a take; empty for any other request
    std::uint64_t deadline = 0;   // when nobody waits for its answer any more; a monotonic_us() count
    take_done done;
};

// order_problem() must have nothing against the order. A driver that knows it does nothing of it once nobody
// waits for the answer any more.
lane_request take_lane_request(vrdx::take_order order, take_done done);
lane_request rename_lane_request(const std::vector<new_name>& names, take_done done);

// Looks at its takes once more and writes the packet for such a driver, to be called right before it is sent.
// False when none of its takes is left: nothing is to be sent.
bool write_packet(lane_request* request, const vrdx::driver_features& driver);

// All its takes were removed right before it would have been sent.
take_ending nothing_left(const lane_request& request);
// The driver answered it.
take_ending answered(const lane_request& request, const comm_socket_v4_packet& reply);
// It may have been sent, and nobody knows what became of it; `why` in a few words, for people.
take_ending unknown(const lane_request& request, const std::string& why);
// What is wrong with it, in one sentence; nothing was done.
take_ending wrong(const std::string& problem);
take_ending too_many(std::string reason);
take_ending unavailable(std::string reason);

} // namespace gateway
