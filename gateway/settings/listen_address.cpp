#include "listen_address.h"

namespace gateway {

std::string address_text(const listen_address& address) {
    const bool is_ipv6 = address.address.find(':') != std::string::npos;
    return (is_ipv6 ? "[" + address.address + "]" : address.address) + ":" + std::to_string(address.port);
}

bool is_loopback(std::string_view address) {
    return address == "::1" || (address.starts_with("127.") && address.find(':') == std::string_view::npos);
}

} // namespace gateway
