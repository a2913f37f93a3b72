// The keys of the configuration file that are about sites: `site`, those of [nats] and of [[peer]].
#pragma once

#include "settings.h"
#include "toml_values.h"

namespace gateway {

// Each returns what is wrong with the value; "" when it was stored.
std::string read_site(const toml::node& node, settings* values);
std::string read_servers(const toml::node& node, settings* values);
std::string read_credentials(const toml::node& node, settings* values);
std::string read_broker_tls(const toml::node& node, settings* values);
std::string read_broker_history(const toml::node& node, settings* values);
// Those of a table [[peer]] are about the last of values->sites.peers.
std::string read_peer_site(const toml::node& node, settings* values);
std::string read_peer_role(const toml::node& node, settings* values);
std::string read_peer_history(const toml::node& node, settings* values);

} // namespace gateway
