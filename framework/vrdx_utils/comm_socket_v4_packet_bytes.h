// The fixed places of a packet's bytes, shared by its reader and its writer only. docs/packet-protocol.md has
// the table. All numbers are big-endian.
#pragma once

#include "comm_socket_v4_packet.h"

#include <array>

inline constexpr std::array<unsigned char, 4> comm_packet_magic = {'T', 'V', 'X', '4'};
inline constexpr unsigned comm_packet_version = 1;

// Where the header's numbers stand.
inline constexpr std::size_t comm_packet_version_at = 4;
inline constexpr std::size_t comm_packet_flags_at = 6;
inline constexpr std::size_t comm_packet_length_at = 8;
inline constexpr std::size_t comm_packet_result_at = 12;

inline constexpr std::size_t comm_packet_text_length_bytes = 4; // before each text

// Forgets the content and keeps the memory, because packets are used again and again.
void comm_packet_empty(comm_socket_v4_packet* packet);
