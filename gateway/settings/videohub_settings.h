// A Videohub server: a router, or some of it, for those who speak that protocol.
#pragma once

#include "listen_address.h"
#include "number_list.h"
#include "role.h"

#include <optional>
#include <vector>

namespace gateway {

// Addresses that begin alike.
struct network {
    std::string address; // as numbers, IPv6 without brackets
    int bits = 0;        // of it that count: 0 to 32, or to 128; all of them: that address alone

    bool operator==(const network&) const = default;
};

struct videohub_settings {
    std::string router;
    listen_address at = {"127.0.0.1", 9990};
    role right = role::view; // view, operate or lock
    // Those of the router that are shown, renumbered from 0 in their order.
    number_list outputs, inputs;
    std::vector<network> clients; // who may connect; empty: who reaches the address

    bool operator==(const videohub_settings&) const = default;
};

// "192.0.2.7", "192.0.2.0/24", "2001:db8::/32". Nothing for any other text, also when bits are set behind
// those that count.
std::optional<network> network_of(std::string_view text);

// `address` as numbers; a text that is none is in no network.
bool is_in_network(std::string_view address, const network& one);

// True when a client of that address may connect.
bool may_connect(const videohub_settings& server, std::string_view address);

} // namespace gateway
