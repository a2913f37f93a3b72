// What TCP knows of a connection, and is told.
#pragma once

#include <cstdint>

namespace gateway {

// Bytes that came on a TCP socket since it was connected, also those nobody has read yet; 0 when it is none.
std::uint64_t received_bytes(int socket);

// So many bytes that the peer has no room for are taken from us at most; what is newer is better kept here.
void limit_unsent_bytes(int socket, int bytes);

} // namespace gateway
