// The epoch of a driver, sixteen hexadecimal digits, as the number that history.db keeps of it.
#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace gateway {

// 0 for an empty text, and for what is no epoch.
inline std::int64_t epoch_number(std::string_view epoch) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(epoch.data(), epoch.data() + epoch.size(), number, 16);
    return error == std::errc{} && end == epoch.data() + epoch.size() ? static_cast<std::int64_t>(number) : 0;
}

// Empty for 0.
inline std::string epoch_text(std::int64_t number) {
    if (number == 0)
        return {};
    constexpr const char* digits = "0123456789abcdef";
    std::string text(16, '0');
    auto rest = static_cast<std::uint64_t>(number);
    for (std::size_t at = text.size(); at-- > 0; rest >>= 4)
        text[at] = digits[rest & 0xf];
    return text;
}

} // namespace gateway
