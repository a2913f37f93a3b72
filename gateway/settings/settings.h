// What the gateway is told: by its command line, by its configuration file, by its defaults, in this order.
#pragma once

#include "limits.h"
#include "role.h"
#include "site_settings.h"
#include "videohub_settings.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

// Browsers that are known by where they stand: who asks from there without a token has this role.
struct wall {
    std::vector<std::string> addresses; // as inet_ntop() writes them
    role right = role::view;

    bool operator==(const wall&) const = default;
};

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
    bool metrics_crosspoints = false; // the crosspoints are among the figures
    std::vector<std::string> proxies; // addresses as inet_ntop() writes them
    std::vector<wall> walls;
    // How long, and how much of the disk; 0 of either: no history is kept.
    std::int64_t history_days = history_usual_days;
    std::int64_t history_bytes = history_usual_bytes;
    std::vector<videohub_settings> videohubs;

    site_settings sites;

    bool has_tls() const {
        return !tls_certificate.empty();
    }
};

// Of who asks without a token from this address: that of the first wall that has it, else `anonymous`.
role role_without_token(const settings& now, std::string_view address);

// The keys whose values differ and that a running gateway cannot change: it has to be started anew for them.
std::vector<std::string> keys_for_a_restart(const settings& before, const settings& now);

} // namespace gateway
