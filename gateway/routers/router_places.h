// Which routers this host has: the installed items, and the sockets of their drivers.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace gateway {

// Tells a socket from one that stood at its path before. All 0: there is none.
struct socket_identity {
    std::uint64_t inode = 0;
    std::int64_t changed_ns = 0; // also when its owner or mode was changed

    bool operator==(const socket_identity&) const = default;
};

struct router_place {
    bool has_item = false;
    socket_identity socket;
};

struct places_reading {
    std::map<std::string, router_place> places; // by the router's name
    bool items_known = true; // false: the directory could not be read, and nobody knows which there are
    bool sockets_known = true;
    std::string problem; // one line on what could not be read; "" when all could
};

// A file NAME.item, a socket NAME.sock; names that begin with a dot do not count, and neither does what is no
// regular file or no socket. A directory that does not exist holds none.
places_reading read_places(const std::string& items_directory, const std::string& run_directory);

// The inode of the socket at this path now; 0 when there is none.
std::uint64_t socket_inode_at(const std::string& path);

} // namespace gateway
