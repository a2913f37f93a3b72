#include "videohub_tables.h"

#include "addresses.h"
#include "limits.h"
#include "toml_values.h"

#include <array>

namespace gateway {
namespace {

// What is wrong with a value: nothing when it was stored.
using reader = std::string (*)(const toml::node& value, videohub_settings* server);

struct known_key {
    const char* name;
    reader read;
    const char* possible;
};

// A text that `convert` makes a value of.
template<typename value_type, typename converter>
std::string read_text(const toml::node& node, converter convert, value_type* value) {
    const auto* const text = node.as_string();
    if (text == nullptr)
        return wrong_type(node);
    const std::optional<value_type> converted = convert(text->get());
    if (!converted)
        return "cannot be " + quoted(text->get());
    *value = *converted;
    return {};
}

// A name that an item's file may have.
std::optional<std::string> router_of(const std::string& text) {
    const bool is_name = !text.empty() && text.size() <= router_name_limit && text.front() != '.' &&
                         text.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
    return is_name ? std::optional(text) : std::nullopt;
}

// Who may see nothing needs no server, and the state of the gateway is not told by this protocol.
std::optional<role> server_role_of(const std::string& text) {
    const std::optional<role> found = role_of_word(text);
    return found && *found != role::none && *found != role::admin ? found : std::nullopt;
}

std::optional<number_list> list_of(const std::string& text) {
    std::string ignored;
    return number_list::parse(text, &ignored);
}

std::string read_router(const toml::node& node, videohub_settings* server) {
    return read_text(node, router_of, &server->router);
}

std::string read_address(const toml::node& node, videohub_settings* server) {
    return read_text(
        node, [](const std::string& text) { return plain_address(text); }, &server->at.address);
}

std::string read_port(const toml::node& node, videohub_settings* server) {
    const auto* const number = node.as_integer();
    if (number == nullptr)
        return wrong_type(node);
    if (number->get() < 0 || number->get() > 65535)
        return "cannot be " + std::to_string(number->get());
    server->at.port = static_cast<std::uint16_t>(number->get());
    return {};
}

std::string read_role(const toml::node& node, videohub_settings* server) {
    return read_text(node, server_role_of, &server->right);
}

std::string read_outputs(const toml::node& node, videohub_settings* server) {
    return read_text(node, list_of, &server->outputs);
}

std::string read_inputs(const toml::node& node, videohub_settings* server) {
    return read_text(node, list_of, &server->inputs);
}

std::string read_clients(const toml::node& node, videohub_settings* server) {
    return read_values<network>(node, videohub_networks_limit, network_of, &server->clients);
}

constexpr const char* possible_lists = "numbers from 1 to 4096 such as \"1-8,12\"";

constexpr std::array<known_key, 7> known_keys = {{
    {"router", read_router, "the name of a router, as in the directory of the items"},
    {"address", read_address, "an address of this machine such as \"192.0.2.1\" or \"::1\", or \"0.0.0.0\""},
    {"port", read_port, "a number from 0 to 65535"},
    {"role", read_role,
     "\"view\", \"operate\", \"lock\"; \"admin\" would see the gateway's own state, which this protocol "
     "cannot tell"},
    {"outputs", read_outputs, possible_lists},
    {"inputs", read_inputs, possible_lists},
    {"clients", read_clients,
     "an address or network such as \"192.0.2.7\" or \"192.0.2.0/24\", or an array of up to 64"},
}};
static_assert(videohub_networks_limit == 64 && largest_number == 4096);

std::string list_of_keys() {
    std::string list;
    for (const known_key& key : known_keys)
        list += (list.empty() ? "" : ", ") + std::string(key.name);
    return list;
}

// True when nothing was wrong with it.
bool read_table(const toml::table& table, videohub_settings* server, const tell_problem& tell) {
    bool is_right = true;
    const auto wrong = [&](std::size_t line, const std::string& problem) {
        is_right = false;
        tell(line, problem);
    };
    for (const auto& [key, value] : table) {
        const std::size_t line = key.source().begin.line;
        const std::string name(key.str());
        const auto known = std::find_if(known_keys.begin(), known_keys.end(),
                                        [&name](const known_key& one) { return name == one.name; });
        if (known == known_keys.end()) {
            wrong(line, "there is no key " + quoted("videohub." + name) + "; possible: " + list_of_keys());
            continue;
        }
        const std::string problem = known->read(value, server);
        if (!problem.empty())
            wrong(line,
                  std::string("videohub.") + known->name + " " + problem + "; possible: " + known->possible);
    }
    return is_right;
}

// What does not hold although each value is possible; "" when all does.
std::string problem_of(const videohub_settings& server, const std::vector<videohub_settings>& before) {
    if (server.router.empty())
        return "this [[videohub]] names no router; possible: router = \"NAME\"";
    if (!is_loopback(server.at.address) && server.clients.empty())
        return "this [[videohub]] listens beyond this machine and says not who may connect; possible: "
               "clients = "
               "[\"192.0.2.7\", ...], or a loopback address";
    const bool is_taken =
        server.at.port != 0 &&
        std::any_of(before.begin(), before.end(), [&](const auto& other) { return other.at == server.at; });
    return is_taken ? "another [[videohub]] listens on " + address_text(server.at) +
                          "; possible: another address or port"
                    : "";
}

} // namespace

void read_videohub_tables(const toml::node& value, std::vector<videohub_settings>* servers,
                          const tell_problem& tell) {
    const toml::array* const tables = value.as_array();
    const std::size_t line = value.source().begin.line;
    if (tables == nullptr || (!tables->empty() && !tables->is_homogeneous<toml::table>())) {
        const std::string what = tables == nullptr ? wrong_type(value) : "has values that are no tables";
        tell(line, "videohub " + what + "; possible: tables [[videohub]] with " + list_of_keys());
        return;
    }
    if (tables->size() > videohub_servers_limit) {
        tell(line, "there are " + std::to_string(tables->size()) + " [[videohub]]; possible: up to " +
                       std::to_string(videohub_servers_limit));
        return;
    }
    std::vector<videohub_settings> found;
    for (const toml::node& each : *tables) {
        videohub_settings server;
        if (!read_table(*each.as_table(), &server, tell))
            continue;
        if (const std::string problem = problem_of(server, found); !problem.empty())
            tell(each.source().begin.line, problem);
        found.push_back(std::move(server));
    }
    *servers = std::move(found);
}

std::vector<std::string> videohub_keys() {
    std::vector<std::string> keys;
    keys.reserve(known_keys.size());
    for (const known_key& key : known_keys)
        keys.emplace_back(key.name);
    return keys;
}

} // namespace gateway
