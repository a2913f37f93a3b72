#include "gateway/fronts/videohub/hub_asker.h"

#include "gateway/access/secret.h"

namespace gateway {
namespace {

// Below zero, where no token's number is, and the same after each start.
std::int64_t owner_id_of(const std::string& address) {
    const std::string hash = hash_of("videohub client " + address);
    std::uint64_t number = 0;
    for (std::size_t at = 0; at < sizeof number; ++at)
        number = number << 8U | static_cast<unsigned char>(hash.at(at));
    return -static_cast<std::int64_t>(number >> 2U) - 1;
}

} // namespace

hub_asker asker_of(const videohub_settings& server, const std::string& address) {
    hub_asker asker;
    asker.address = address;
    token& who = asker.who;
    who.id = owner_id_of(address);
    who.name = "videohub " + address;
    who.right = server.right;
    who.routers = {server.router};
    who.outputs = server.outputs;
    who.inputs = server.inputs;
    asker.lane = std::to_string(who.id);
    return asker;
}

} // namespace gateway
