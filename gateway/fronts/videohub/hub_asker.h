// Who asks at a Videohub server.
#pragma once

#include "gateway/access/token.h"
#include "gateway/settings/videohub_settings.h"

namespace gateway {

struct hub_asker {
    token who;           // what it may, and whose its locks are
    std::string address; // as numbers
    std::string lane;    // its own way to the drivers, as router_board has it
};

// Who that address is: it may what the server may, and owns its locks. Clients behind one address are one.
hub_asker asker_of(const videohub_settings& server, const std::string& address);

} // namespace gateway
