// Addresses and host names as people write them.
#pragma once

#include "settings.h"

#include <optional>

namespace gateway {

// An IPv4 or IPv6 address (without brackets) as inet_ntop() writes it, one of IPv4 that is written as IPv6
// (`::ffff:1.2.3.4`) as IPv4; nothing for any other text.
std::optional<std::string> plain_address(std::string_view text);

// "127.0.0.1:8400", "[::1]:8400".
std::optional<listen_address> listen_address_of(std::string_view text);

// A host as it stands in `settings::hosts`: a name in lower case, an IPv4 address, an IPv6 address in
// brackets (which may be missing in `text`). Nothing for anything else, a port included.
std::optional<std::string> host_of(std::string_view text);

// The host that an address is reached under; nothing for 0.0.0.0 and ::, which are any address.
std::optional<std::string> host_of_address(const std::string& address);

} // namespace gateway
