// Sites: several machines with routers, whose gateways know each other through a message broker (NATS).
#pragma once

#include "role.h"

#include <string>
#include <string_view>
#include <vector>

namespace gateway {

struct peer_site {
    std::string site;
    role right = role::operate; // what all who ask from there may here
    bool history = false;       // its history is read into the one kept here

    bool operator==(const peer_site&) const = default;
};

struct site_settings {
    std::string site;                 // of this machine; "" when there are no others
    std::vector<std::string> servers; // "nats://HOST:PORT", "tls://HOST:PORT"; empty: no broker, no others
    // A file: what `nsc` writes, or two lines, user and password. "": without.
    std::string credentials;
    bool tls = false;
    // PEM file with who signed the servers' certificates; "": those the system knows.
    std::string tls_authority;
    bool history = false;         // this site's history is handed on to the broker
    std::vector<peer_site> peers; // each site once, none of them `site`

    bool operator==(const site_settings&) const = default;

    [[nodiscard]] bool has_broker() const {
        return !servers.empty();
    }
    // Entries of the history go to other sites, or come from there.
    [[nodiscard]] bool exchanges_history() const {
        return history || reads_history();
    }
    [[nodiscard]] bool reads_history() const;
    // Null when that site is no peer.
    [[nodiscard]] const peer_site* peer(std::string_view name) const;
};

// 1 to site_name_limit letters, digits, '-', '_'.
bool is_site_name(std::string_view name);

// "nats://" or "tls://", a name or address, IPv6 in brackets, and a port; no user in it.
bool is_server_address(std::string_view text);
// True for one on this machine, or one whose connection is encrypted.
bool is_server_safe(std::string_view text, bool tls);

} // namespace gateway
