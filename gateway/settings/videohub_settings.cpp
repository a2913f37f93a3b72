#include "videohub_settings.h"

#include "addresses.h"
#include "plain_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace gateway {
namespace {

struct address_bits {
    std::array<unsigned char, 16> bytes{};
    int count = 0; // 32 or 128; 0: it is no address
};

address_bits bits_of(const std::string& address) {
    address_bits found;
    if (inet_pton(AF_INET, address.c_str(), found.bytes.data()) == 1)
        found.count = 32;
    else if (inet_pton(AF_INET6, address.c_str(), found.bytes.data()) == 1)
        found.count = 128;
    return found;
}

bool bit(const address_bits& address, int at) {
    return (address.bytes.at(static_cast<std::size_t>(at / 8)) & (0x80U >> static_cast<unsigned>(at % 8))) !=
           0;
}

} // namespace

std::optional<network> network_of(std::string_view text) {
    const auto slash = text.find('/');
    const std::optional<std::string> address = plain_address(text.substr(0, slash));
    if (!address)
        return std::nullopt;
    const address_bits all = bits_of(*address);
    const std::optional<int> count =
        slash == std::string_view::npos ? all.count : number_of_digits(text.substr(slash + 1));
    if (!count || *count > all.count)
        return std::nullopt;
    for (int at = *count; at < all.count; ++at)
        if (bit(all, at))
            return std::nullopt;
    return network{*address, *count};
}

bool is_in_network(std::string_view address, const network& one) {
    const std::optional<std::string> plain = plain_address(address);
    const address_bits asked = bits_of(plain.value_or("")), known = bits_of(one.address);
    if (asked.count == 0 || asked.count != known.count)
        return false;
    for (int at = 0; at < one.bits; ++at)
        if (bit(asked, at) != bit(known, at))
            return false;
    return true;
}

bool may_connect(const videohub_settings& server, std::string_view address) {
    return server.clients.empty() ||
           std::any_of(server.clients.begin(), server.clients.end(),
                       [&](const network& one) { return is_in_network(address, one); });
}

} // namespace gateway
