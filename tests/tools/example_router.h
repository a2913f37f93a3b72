// Routers and replies for tests.
#pragma once

#include "comm_socket_v4_packet.h"
#include "router_status.h"

#include <string>

// What arrives when `written` is sent.
inline comm_socket_v4_packet delivered(const comm_socket_v4_packet& written) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(written.bytes.data()),
                                 written.bytes.size());
    return packet;
}

// A router with inputs "Camera 1" ..., outputs "Monitor 1" ..., and the same source everywhere.
inline router_status example_router(int inputs, int outputs, crosspoint source = {1, 1}) {
    router_status status;
    for (int i = 1; i <= inputs; ++i)
        status.inputs.push_back("Camera " + std::to_string(i));
    for (int i = 1; i <= outputs; ++i)
        status.outputs.push_back({"Monitor " + std::to_string(i), source});
    return status;
}

// The driver's reply to "status" for this router.
inline comm_socket_v4_packet status_reply(const router_status& status) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "status", nullptr);
    for (std::size_t i = 0; i < status.inputs.size(); ++i)
        comm_socket_v4_packet_write_nv_pair(&packet, "input.name " + std::to_string(i + 1), status.inputs[i]);
    for (std::size_t i = 0; i < status.outputs.size(); ++i)
        comm_socket_v4_packet_write_nv_pair(&packet, "output.name " + std::to_string(i + 1),
                                            status.outputs[i].name);
    for (std::size_t i = 0; i < status.outputs.size(); ++i)
        comm_socket_v4_packet_write_nv_pairf(&packet, "output " + std::to_string(i + 1), "%d,%d",
                                             status.outputs[i].source.audio, status.outputs[i].source.video);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "router", "?");
    comm_socket_v4_packet_write_nv_pairf(&packet, "in points", "%zu", status.inputs.size());
    comm_socket_v4_packet_write_nv_pairf(&packet, "out points", "%zu", status.outputs.size());
    comm_socket_v4_packet_write_end(&packet);
    return delivered(packet);
}
