#include "addresses.h"

#include "plain_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace gateway {
namespace {

constexpr std::size_t host_name_limit = 253; // of DNS

bool is_in_brackets(std::string_view text) {
    return text.size() > 2 && text.front() == '[' && text.back() == ']';
}

bool is_ipv6(std::string_view address) {
    return address.find(':') != std::string_view::npos;
}

bool is_host_name(std::string_view name) {
    const auto is_letter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
    };
    return !name.empty() && name.size() <= host_name_limit && name.front() != '.' && name.front() != '-' &&
           name.find("..") == std::string_view::npos && name.back() != '.' &&
           std::all_of(name.begin(), name.end(), is_letter);
}

// 1.2.3 and 01.2.3.4 are no names either: browsers would read them as some address.
bool looks_like_ipv4(std::string_view name) {
    return name.find_first_not_of("0123456789.") == std::string_view::npos;
}

} // namespace

std::optional<std::string> plain_address(std::string_view text) {
    const std::string address(text);
    if (address.find('\0') != std::string::npos)
        return std::nullopt;
    std::array<unsigned char, 16> bytes{};
    std::array<char, INET6_ADDRSTRLEN> shown{};
    if (inet_pton(AF_INET, address.c_str(), bytes.data()) == 1)
        return inet_ntop(AF_INET, bytes.data(), shown.data(), shown.size());
    if (inet_pton(AF_INET6, address.c_str(), bytes.data()) != 1)
        return std::nullopt;
    constexpr std::array<unsigned char, 12> mapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (std::equal(mapped.begin(), mapped.end(), bytes.begin()))
        return inet_ntop(AF_INET, bytes.data() + mapped.size(), shown.data(), shown.size());
    return inet_ntop(AF_INET6, bytes.data(), shown.data(), shown.size());
}

std::optional<listen_address> listen_address_of(std::string_view text) {
    const auto colon = text.rfind(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    std::string_view host = text.substr(0, colon);
    const std::string_view port = text.substr(colon + 1);
    const bool digits_alone = port.find_first_not_of("0123456789") == std::string_view::npos;
    const std::optional<int> number = digits_alone ? whole_number(port) : std::nullopt;
    const bool brackets = is_in_brackets(host);
    if (brackets)
        host = host.substr(1, host.size() - 2);
    // With brackets alone can it be told where the address ends.
    if (!number || *number > 65535 || brackets != is_ipv6(host))
        return std::nullopt;
    const std::optional<std::string> address = plain_address(host);
    if (!address)
        return std::nullopt;
    return listen_address{*address, static_cast<std::uint16_t>(*number)};
}

std::optional<std::string> host_of(std::string_view text) {
    const bool brackets = is_in_brackets(text);
    const std::string_view inner = brackets ? text.substr(1, text.size() - 2) : text;
    if (const std::optional<std::string> address = plain_address(inner))
        return brackets && !is_ipv6(inner) ? std::nullopt : host_of_address(*address);
    std::string name(text);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return is_host_name(name) && !looks_like_ipv4(name) ? std::optional(name) : std::nullopt;
}

std::optional<std::string> host_of_address(const std::string& address) {
    if (address == "0.0.0.0" || address == "::")
        return std::nullopt;
    return is_ipv6(address) ? "[" + address + "]" : address;
}

} // namespace gateway
