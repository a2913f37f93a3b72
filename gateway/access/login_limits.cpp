#include "login_limits.h"

#include "gateway/settings/limits.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>

namespace gateway {
namespace {

constexpr std::uint64_t wholly_used_ms = wrong_logins_at_once * wrong_login_refill_ms;

// Who has IPv6 has at least 2^64 addresses. An IPv4 address in IPv6 clothes is that IPv4 address.
std::string counted_address(std::string_view address) {
    std::string text(address);
    std::array<unsigned char, 16> bytes{};
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1)
        return text;
    constexpr std::array<unsigned char, 12> mapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    std::array<char, INET6_ADDRSTRLEN> shown{};
    if (std::memcmp(bytes.data(), mapped.data(), mapped.size()) == 0)
        return inet_ntop(AF_INET, bytes.data() + mapped.size(), shown.data(), shown.size());
    std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
    return inet_ntop(AF_INET6, bytes.data(), shown.data(), shown.size());
}

} // namespace

std::uint64_t login_limits::wrong(std::string_view address, std::uint64_t now_ms) {
    const std::string counted = counted_address(address);
    auto place = places_.find(counted);
    if (place == places_.end()) {
        if (entries_.size() >= login_addresses_limit) {
            places_.erase(entries_.back().address);
            entries_.pop_back();
        }
        entries_.push_front({counted, now_ms});
        place = places_.emplace(counted, entries_.begin()).first;
    } else {
        entries_.splice(entries_.begin(), entries_, place->second);
    }
    entry& found = *place->second;
    // What was used up is given back with time. It is never more than all, so that nobody waits for longer
    // than a minute for what he did before.
    const std::uint64_t used = found.free_at_ms > now_ms ? found.free_at_ms - now_ms : 0;
    const bool is_free = used + wrong_login_refill_ms <= wholly_used_ms;
    if (is_free)
        found.free_at_ms = now_ms + used + wrong_login_refill_ms;
    return is_free ? 0 : used + wrong_login_refill_ms - wholly_used_ms;
}

} // namespace gateway
