// Routers and packets for tests.
#pragma once

#include "client_picture.h"
#include "comm_socket_v4_packet.h"

#include <string>

// What arrives when `written` is sent.
inline comm_socket_v4_packet delivered(const comm_socket_v4_packet& written) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(written.bytes.data()),
                                 written.bytes.size());
    return packet;
}

// A router with inputs "Camera 1" ..., outputs "Monitor 1" ..., separate levels, and the same confirmed
// source everywhere.
inline vrdx::router_picture example_router(int inputs, int outputs, vrdx::level_sources sources = {1, 1}) {
    vrdx::router_picture picture;
    picture.epoch = "0123456789abcdef";
    picture.split_levels = true;
    picture.backend = vrdx::backend_state::running;
    picture.link = vrdx::link_state::up;
    for (int i = 1; i <= inputs; ++i)
        picture.inputs.push_back({true, "Camera " + std::to_string(i), {}});
    for (int i = 1; i <= outputs; ++i) {
        picture.outputs.emplace_back();
        picture.outputs.back().told = true;
        picture.outputs.back().name = "Monitor " + std::to_string(i);
        picture.outputs.back().sources = sources;
    }
    return picture;
}
