// Packets as a driver writes them, for tests of those who read them.
#pragma once

#include "comm_socket_v4_packet.h"

#include <string>
#include <utility>
#include <vector>

using told_entries = std::vector<std::pair<std::string, std::string>>;

constexpr const char* first_epoch = "00112233445566aa";
constexpr const char* second_epoch = "00112233445566bb";

// A packet ready to be sent.
inline comm_socket_v4_packet written(const char* command, const told_entries& entries,
                                     std::uint64_t result = 0, const char* argument = nullptr) {
    comm_socket_v4_packet packet;
    packet.result = result;
    comm_socket_v4_packet_begin_writing(&packet, 0, command, argument);
    comm_socket_v4_packet_write_argv_end(&packet);
    for (const auto& [name, value] : entries)
        comm_socket_v4_packet_write_nv_pair(&packet, name, value);
    comm_socket_v4_packet_write_end(&packet);
    return packet;
}

// What is on the wire, read.
inline comm_socket_v4_packet read_back(const comm_socket_v4_packet& sent) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(sent.bytes.data()),
                                 sent.bytes.size());
    return packet;
}

inline comm_socket_v4_packet told(const char* command, const told_entries& entries,
                                  std::uint64_t result = 0) {
    return read_back(written(command, entries, result));
}

inline comm_socket_v4_packet told_error(const char* text, const told_entries& entries = {}) {
    return read_back(written("error", entries, 1, text));
}
