#include "router_text.h"
#include "subjects.h"

#include <array>

namespace gateway {
namespace {

constexpr std::array<router_state, 6> all_states = {router_state::up,        router_state::reading,
                                                    router_state::link_down, router_state::no_backend,
                                                    router_state::no_driver, router_state::stale};

} // namespace

std::optional<router_state> router_state_of(const std::string& word) {
    for (const router_state state : all_states)
        if (word == router_state_word(state))
            return state;
    return std::nullopt;
}

// Names are escaped: they may be bytes that are no text.
std::string alive_text(const alive_message& alive) {
    json routers = json::array();
    for (const router_row& row : alive.routers)
        routers.push_back({escaped_name(row.router), router_state_word(row.state), row.at});
    return message_text({{"v", site_message_version},
                         {"run", alive.beat.run},
                         {"beat", alive.beat.ms},
                         {"routers", std::move(routers)}});
}

std::optional<alive_message> read_alive(const std::string& text) {
    return read_message<alive_message>(text, [](const json& object, alive_message* alive) {
        alive->beat = {object.at("run").get<std::string>(), object.at("beat").get<std::uint64_t>()};
        for (const json& each : object.at("routers")) {
            const auto name = name_of_escaped(each.at(0).get<std::string>());
            if (!name || alive->routers.size() >= routers_per_site_limit)
                continue;
            const auto state = router_state_of(each.at(1).get<std::string>());
            alive->routers.push_back(
                {*name, state.value_or(router_state::stale), each.at(2).get<std::uint64_t>()});
        }
        return true;
    });
}

} // namespace gateway
