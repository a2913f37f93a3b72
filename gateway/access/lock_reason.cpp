#include "lock_reason.h"

#include "gateway/settings/limits.h"

#include <cstdint>

namespace gateway {
namespace {

// How many bytes the letter that begins with this byte has; 0: none begins so.
std::size_t letter_size(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xc2 && first < 0xe0)
        return 2;
    if (first >= 0xe0 && first < 0xf0)
        return 3;
    return first >= 0xf0 && first < 0xf5 ? 4 : 0;
}

// Longer than needed, half of a pair, or beyond the last letter.
bool is_letter(std::uint32_t value, std::size_t size) {
    const bool is_shortest = size < 3 || (size == 3 ? value >= 0x800 : value >= 0x10000);
    return is_shortest && value <= 0x10ffff && (value < 0xd800 || value > 0xdfff);
}

// Control characters, also those of two bytes, and the line and paragraph separators.
bool is_control(std::uint32_t value) {
    return value < 0x20 || (value >= 0x7f && value < 0xa0) || value == 0x2028 || value == 0x2029;
}

bool is_one_line(std::string_view text) {
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text.front());
        const std::size_t size = letter_size(first);
        if (size == 0 || size > text.size())
            return false;
        std::uint32_t value = size == 1 ? first : first & (0x7fU >> size);
        for (std::size_t i = 1; i < size; ++i) {
            const auto next = static_cast<unsigned char>(text[i]);
            if ((next & 0xc0U) != 0x80U)
                return false;
            value = value << 6 | (next & 0x3fU);
        }
        if (!is_letter(value, size) || is_control(value))
            return false;
        text.remove_prefix(size);
    }
    return true;
}

} // namespace

std::string lock_reason_problem(std::string_view reason) {
    if (reason.size() <= lock_reason_limit && is_one_line(reason))
        return {};
    return "that is no reason; possible: one line of up to " + std::to_string(lock_reason_limit) +
           " bytes of UTF-8";
}

} // namespace gateway
