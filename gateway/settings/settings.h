// What the gateway is told: by its command line, by its configuration file, by its defaults, in this order.
#pragma once

#include "role.h"
#include "videohub_settings.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

struct settings {
    std::vector<listen_address> listen = {{"127.0.0.1", 8400}};
    // Names and addresses that a request's Host may have, lower case, without a port, IPv6 in brackets. Holds
    // the addresses of `listen`, too, as far as they are single ones.
    std::vector<std::string> hosts = {"localhost", "127.0.0.1", "[::1]"};
    std::string items = "/etc/vrdx/items";
    std::string run = "/run/vrdx";
    std::string state = "/var/lib/vrdx-gateway";
    std::string tls_certificate; // PEM files; both empty: without TLS
    std::string tls_key;
    bool insecure = false; // without TLS beyond this machine
    role anonymous = role::none;
    std::vector<std::string> proxies; // addresses as inet_ntop() writes them
    std::vector<videohub_settings> videohubs;

    bool has_tls() const {
        return !tls_certificate.empty();
    }
};

// The keys whose values differ and that a running gateway cannot take on: it has to be started anew for them.
std::vector<std::string> keys_for_a_restart(const settings& before, const settings& now);

} // namespace gateway
