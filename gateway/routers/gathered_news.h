// News of a picture that come in several packets, and are told as one.
#pragma once

#include "packet_client.h"

namespace gateway {

// True for a change of the picture, whole or in part.
bool is_change(const comm_socket_v4_packet& pushed);

// True for a change that is not whole with this packet.
bool goes_on_in_further_packets(const comm_socket_v4_packet& pushed);

// Adds what `more` tells of; numbers stay ascending, each once.
void add_places(vrdx::picture_news* all, const vrdx::picture_news& more);

} // namespace gateway
