// How much a peer has sent.
#pragma once

#include <cstdint>

namespace gateway {

// Bytes that came on a TCP socket since it was connected, also those nobody has read yet; 0 when it is none.
std::uint64_t received_bytes(int socket);

} // namespace gateway
