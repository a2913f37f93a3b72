#include "settings.h"

#include <algorithm>

namespace gateway {

role role_without_token(const settings& now, std::string_view address) {
    for (const wall& each : now.walls)
        if (std::find(each.addresses.begin(), each.addresses.end(), address) != each.addresses.end())
            return each.right;
    return now.anonymous;
}

std::string address_text(const listen_address& address) {
    const bool is_ipv6 = address.address.find(':') != std::string::npos;
    return (is_ipv6 ? "[" + address.address + "]" : address.address) + ":" + std::to_string(address.port);
}

bool is_loopback(std::string_view address) {
    return address == "::1" || (address.starts_with("127.") && address.find(':') == std::string_view::npos);
}

std::vector<std::string> keys_for_a_restart(const settings& before, const settings& now) {
    std::vector<std::string> keys;
    if (before.listen != now.listen)
        keys.emplace_back("listen");
    if (before.items != now.items)
        keys.emplace_back("items");
    if (before.run != now.run)
        keys.emplace_back("run");
    if (before.state != now.state)
        keys.emplace_back("state");
    return keys;
}

} // namespace gateway
