#include "site_settings.h"

#include "limits.h"
#include "settings.h"

#include <algorithm>

namespace gateway {
namespace {

constexpr std::string_view plain_scheme = "nats://", encrypted_scheme = "tls://";

// What stands behind the scheme; "" for another one.
std::string_view behind_scheme(std::string_view text) {
    for (const std::string_view scheme : {plain_scheme, encrypted_scheme})
        if (text.starts_with(scheme))
            return text.substr(scheme.size());
    return {};
}

bool is_letter_or_digit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_port(std::string_view text) {
    unsigned port = 0;
    for (const char c : text) {
        if (c < '0' || c > '9' || text.size() > 5)
            return false;
        port = port * 10 + static_cast<unsigned>(c - '0');
    }
    return port >= 1 && port <= 65535;
}

} // namespace

const peer_site* site_settings::peer(std::string_view name) const {
    const auto found =
        std::find_if(peers.begin(), peers.end(), [&](const peer_site& each) { return each.site == name; });
    return found == peers.end() ? nullptr : &*found;
}

bool site_settings::reads_history() const {
    return std::any_of(peers.begin(), peers.end(), [](const peer_site& each) { return each.history; });
}

bool is_site_name(std::string_view name) {
    return !name.empty() && name.size() <= site_name_limit &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return is_letter_or_digit(c) || c == '-' || c == '_'; });
}

bool is_server_address(std::string_view text) {
    const std::string_view rest = behind_scheme(text);
    const auto colon = rest.rfind(':');
    if (colon == std::string_view::npos || colon == 0 || !is_port(rest.substr(colon + 1)))
        return false;
    const std::string_view host = rest.substr(0, colon);
    const bool in_brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return std::all_of(host.begin(), host.end(), [&](char c) {
        return is_letter_or_digit(c) || c == '-' || c == '.' ||
               (in_brackets && (c == ':' || c == '[' || c == ']'));
    });
}

bool is_server_safe(std::string_view text, bool tls) {
    std::string_view host = behind_scheme(text);
    host = host.substr(0, host.rfind(':'));
    if (host.starts_with('['))
        host = host.substr(1, host.size() - 2);
    return tls || text.starts_with(encrypted_scheme) || host == "localhost" || is_loopback(host);
}

} // namespace gateway
