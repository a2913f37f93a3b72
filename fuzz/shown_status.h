// The router as the driver's reply to "status" shows it. Numbers of inputs and outputs start at 1; 0 is
// "no source".
#pragma once

#include "comm_socket_v4_packet.h"

#include <optional>
#include <string>
#include <vector>

// A reply shows no more inputs and outputs than this; the router may have more.
constexpr int status_limit = 128;

struct crosspoint {
    int audio = 0;
    int video = 0;

    bool operator==(const crosspoint&) const = default;
};

struct output_status {
    std::string name;
    crosspoint source;
};

struct router_status {
    std::vector<std::string> inputs;    // names; element 0 is input 1
    std::vector<output_status> outputs; // element 0 is output 1
};

// True for the reply of a driver that knows no router.
bool is_no_router(const comm_socket_v4_packet& reply);

// The router in a "status" reply. Empty when the reply shows none, or is no such reply.
std::optional<router_status> decode_status(const comm_socket_v4_packet& reply);
