#include "settings.h"

namespace gateway {

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
