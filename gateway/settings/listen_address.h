// Where something listens.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace gateway {

struct listen_address {
    std::string address;    // IPv4 or IPv6, as numbers, IPv6 without brackets
    std::uint16_t port = 0; // 0: the kernel chooses

    bool operator==(const listen_address&) const = default;
};

// "127.0.0.1:8400", "[::1]:8400".
std::string address_text(const listen_address& address);

// True for an address that this machine alone reaches: 127.0.0.0/8, ::1.
bool is_loopback(std::string_view address);

} // namespace gateway
