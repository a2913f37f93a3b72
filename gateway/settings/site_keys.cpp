#include "site_keys.h"

#include "limits.h"

namespace gateway {
namespace {

std::string read_site_name(const toml::node& node, std::string* name) {
    const auto* const text = node.as_string();
    if (text == nullptr)
        return wrong_type(node);
    if (!is_site_name(text->get()))
        return "cannot be " + quoted(text->get());
    *name = text->get();
    return {};
}

std::string read_whether(const toml::node& node, bool* is) {
    const auto* const whether = node.as_boolean();
    if (whether == nullptr)
        return wrong_type(node);
    *is = whether->get();
    return {};
}

} // namespace

std::string read_site(const toml::node& node, settings* values) {
    return read_site_name(node, &values->sites.site);
}

std::string read_servers(const toml::node& node, settings* values) {
    const auto address_of = [](const std::string& text) {
        return is_server_address(text) ? std::optional(text) : std::nullopt;
    };
    return read_values<std::string>(node, servers_limit, address_of, &values->sites.servers);
}

std::string read_credentials(const toml::node& node, settings* values) {
    return read_path(node, &values->sites.credentials);
}

std::string read_broker_tls(const toml::node& node, settings* values) {
    if (const auto* const whether = node.as_boolean()) {
        values->sites.tls = whether->get();
        return {};
    }
    values->sites.tls = true;
    return read_path(node, &values->sites.tls_authority);
}

std::string read_broker_history(const toml::node& node, settings* values) {
    return read_whether(node, &values->sites.history);
}

std::string read_peer_history(const toml::node& node, settings* values) {
    return read_whether(node, &values->sites.peers.back().history);
}

std::string read_peer_site(const toml::node& node, settings* values) {
    std::string name;
    std::string problem = read_site_name(node, &name);
    if (problem.empty() && values->sites.peer(name) != nullptr)
        problem = "is " + quoted(name) + " for the second time";
    values->sites.peers.back().site = name;
    return problem;
}

std::string read_peer_role(const toml::node& node, settings* values) {
    const auto* const word = node.as_string();
    if (word == nullptr)
        return wrong_type(node);
    const std::optional<role> right = role_of_word(word->get());
    if (!right || *right < role::view || *right > role::lock)
        return "cannot be " + quoted(word->get());
    values->sites.peers.back().right = *right;
    return {};
}

} // namespace gateway
