// Host names to addresses without making the loop wait: the system's resolver has no call that returns at
// once, so each look-up of a name runs in a thread of its own. A literal address needs none.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <vector>

struct network_address {
    sockaddr_storage address = {};
    socklen_t size = 0;
};

// One look-up, shared by the one who asked and the thread that asks the resolver; it outlives either.
struct name_lookup {
    ~name_lookup();

    std::string host;
    std::uint16_t port = 0;
    std::vector<network_address> addresses; // in the order in which they should be tried; once done
    std::string failure;                    // why there are no addresses; once done
    std::atomic<bool> done = false;         // written last
    int wake_read = -1;                     // becomes readable when it is done; -1 when it was done at once
    int wake_write = -1;
};

// Begins to look up `host` (a name, or a literal IPv4 or IPv6 address, which is done at once). A look-up that
// is abandoned runs to its end behind the scenes; beyond a handful of those a new one fails at once.
std::shared_ptr<name_lookup> begin_name_lookup(const std::string& host, std::uint16_t port);
