// What the gateway is told: by its command line, by its configuration file, by its defaults, in this order.
#pragma once

#include "role.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

struct listen_address {
    std::string address;    // IPv4 or IPv6, as numbers, IPv6 without brackets
    std::uint16_t port = 0; // 0: the kernel chooses

    bool operator==(const listen_address&) const = default;
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

    bool has_tls() const {
        return !tls_certificate.empty();
    }
};

// "127.0.0.1:8400", "[::1]:8400".
std::string address_text(const listen_address& address);

// True for an address that this machine alone reaches: 127.0.0.0/8, ::1.
bool is_loopback(std::string_view address);

// The keys whose values differ and that a running gateway cannot take on: it has to be started anew for them.
std::vector<std::string> keys_for_a_restart(const settings& before, const settings& now);

} // namespace gateway
