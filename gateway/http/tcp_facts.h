// What TCP knows of a connection, and is told.
#pragma once

#include <cstdint>

namespace gateway {

// Counts since the connection began, all 0 when it is no TCP socket.
struct tcp_facts {
    std::uint64_t received = 0; // bytes that came, also those nobody has read yet
    std::uint64_t taken = 0;    // bytes of ours that the peer's system has
    std::uint64_t room = 0;     // bytes that the peer says it has room for now
    bool waits = false;         // bytes of ours wait until the peer has room
};

tcp_facts facts_of(int socket);

// So many bytes that the peer has no room for are accepted from us at most; what is newer is better kept
// here.
void limit_unsent_bytes(int socket, int bytes);

} // namespace gateway
