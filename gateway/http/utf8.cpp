#include "utf8.h"

#include <cstddef>

namespace gateway {

namespace {

struct lead_byte {
    std::size_t following = 0;                   // 0: no lead byte
    unsigned char lowest = 0x80, highest = 0xbf; // of the first byte behind it
};

lead_byte lead_in(unsigned char byte) {
    if (byte >= 0xc2 && byte <= 0xdf)
        return {1};
    if (byte == 0xe0)
        return {2, 0xa0};
    if (byte == 0xed)
        return {2, 0x80, 0x9f};
    if (byte >= 0xe1 && byte <= 0xef)
        return {2};
    if (byte == 0xf0)
        return {3, 0x90};
    if (byte == 0xf4)
        return {3, 0x80, 0x8f};
    if (byte >= 0xf1 && byte <= 0xf3)
        return {3};
    return {};
}

} // namespace

bool is_utf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at++]);
        if (byte < 0x80)
            continue;
        lead_byte lead = lead_in(byte);
        if (lead.following == 0 || text.size() - at < lead.following)
            return false;
        for (; lead.following > 0; lead.following--, lead.lowest = 0x80, lead.highest = 0xbf) {
            const auto next = static_cast<unsigned char>(text[at++]);
            if (next < lead.lowest || next > lead.highest)
                return false;
        }
    }
    return true;
}

} // namespace gateway
