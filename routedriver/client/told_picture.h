// The picture as clients of "describe" and "watch" are told it: entries of a packet, 1-based.
#pragma once

#include "comm_socket_v4_packet.h"
#include "router.h"

#include <string>

constexpr std::size_t told_name_bytes = 1024; // of a name; the rest is not told

// New with each start of the driver: 16 hexadecimal digits.
const std::string& driver_epoch();

// Begins a packet that says what it is and of which epoch.
void begin_told_packet(comm_socket_v4_packet* packet, const char* command);
void write_told_number(comm_socket_v4_packet* packet, std::string_view name, std::uint64_t number);

// Sizes, levels, backend and link.
void write_told_state(comm_socket_v4_packet* packet);

// All of one place: the inputs are places 0 to input_count - 1, and the outputs follow.
void write_told_place(comm_socket_v4_packet* packet, std::int32_t place);
std::int32_t told_places();
std::uint64_t told_place_changed(std::int32_t place); // the picture's version with its last change
std::size_t told_place_bytes(std::int32_t place);     // at most

// The group of entries of one take of the record.
void write_told_take(comm_socket_v4_packet* packet, const decided_take& take);
