// A packet as text, item by item in wire order, as docs/packet-protocol.md writes its examples.
#pragma once

#include "comm_socket_v4_packet.h"

#include <string>

std::string packet_text(const comm_socket_v4_packet& packet);
