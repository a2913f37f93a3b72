#include "settings.h"

#include <algorithm>

namespace gateway {

role role_without_token(const settings& now, std::string_view address) {
    for (const wall& each : now.walls)
        if (std::find(each.addresses.begin(), each.addresses.end(), address) != each.addresses.end())
            return each.right;
    return now.anonymous;
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
    if (before.sites.site != now.sites.site)
        keys.emplace_back("site");
    if (before.sites.peers != now.sites.peers)
        keys.emplace_back("peer");
    site_settings broker_before = before.sites, broker_now = now.sites;
    for (site_settings* each : {&broker_before, &broker_now}) {
        each->site.clear();
        each->peers.clear();
    }
    if (!(broker_before == broker_now))
        keys.emplace_back("nats");
    return keys;
}

} // namespace gateway
