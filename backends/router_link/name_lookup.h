// Finds the addresses of a host name without making the loop wait. The system's resolver has no call that
// returns at once, so each look-up of a name runs in a thread of its own. A literal address needs no thread.
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

// One look-up. The caller and the thread share it, and it lives until both have let it go.
struct name_lookup {
    ~name_lookup();

    std::string host;
    std::uint16_t port = 0;
    std::vector<network_address>
        addresses;                  // in the order in which they should be tried; valid once it is done
    std::string failure;            // why there are no addresses; valid once it is done
    std::atomic<bool> done = false; // written last
    int wake_read = -1;             // becomes readable when it is done; -1 when it was done at once
    int wake_write = -1;
};

// Begins to look up `host` (a name, or a literal IPv4 or IPv6 address, which is done at once). A look-up that
// the caller has given up still runs to its end; while a handful of those run, a new one fails at once.
std::shared_ptr<name_lookup> begin_name_lookup(const std::string& host, std::uint16_t port);
