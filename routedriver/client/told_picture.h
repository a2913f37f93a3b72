// The picture as clients of "describe" and "watch" get it: entries of a packet. Numbers are 1-based.
#pragma once

#include "comm_socket_v4_packet.h"
#include "router.h"

#include <string>

constexpr std::size_t told_name_bytes = 1024; // of a name; the rest is left out

// New with each start of the driver: 16 hexadecimal digits.
const std::string& driver_epoch();

// Begins a packet with this command and the entry "epoch".
void begin_told_packet(comm_socket_v4_packet* packet, const char* command);
void write_told_number(comm_socket_v4_packet* packet, std::string_view name, std::uint64_t number);

// Sizes, levels, backend and link.
void write_told_state(comm_socket_v4_packet* packet);

// Everything about one place. Places 0 to input_count - 1 are the inputs, the outputs follow.
void write_told_place(comm_socket_v4_packet* packet, std::int32_t place);
std::int32_t told_places();
std::uint64_t told_place_changed(std::int32_t place); // the picture's version with its last change
std::size_t told_place_bytes(std::int32_t place);     // what write_told_place writes, at most

// The group of entries of one take of the record.
void write_told_take(comm_socket_v4_packet* packet, const decided_take& take);
