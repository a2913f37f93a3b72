// What is a lock's reason, against a simple reading: UTF-8 by its table of byte ranges, without control
// characters.
#include "gateway/access/lock_reason.h"
#include "gateway/settings/limits.h"
#include "target.h"

namespace {

bool is_between(unsigned char byte, unsigned first, unsigned last) {
    return byte >= first && byte <= last;
}

// The range of the second byte of a letter that begins with `first`.
bool fits(unsigned char first, unsigned char second) {
    switch (first) {
    case 0xc2: // below: control characters
    case 0xe0: // below: longer than needed
        return is_between(second, 0xa0, 0xbf);
    case 0xed:
        return is_between(second, 0x80, 0x9f);
    case 0xf0:
        return is_between(second, 0x90, 0xbf);
    case 0xf4:
        return is_between(second, 0x80, 0x8f);
    default:
        return is_between(second, 0x80, 0xbf);
    }
}

bool simple_reading(std::string_view text) {
    if (text.size() > gateway::lock_reason_limit || text.find("\xe2\x80\xa8") != std::string_view::npos ||
        text.find("\xe2\x80\xa9") != std::string_view::npos)
        return false;
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
        if (is_between(byte(0), 0x20, 0x7e)) {
            ++at;
            continue;
        }
        const std::size_t length = is_between(byte(0), 0xc2, 0xdf)   ? 2
                                   : is_between(byte(0), 0xe0, 0xef) ? 3
                                   : is_between(byte(0), 0xf0, 0xf4) ? 4
                                                                     : 0;
        if (length == 0 || at + length > text.size() || !fits(byte(0), byte(1)))
            return false;
        for (std::size_t i = 2; i < length; ++i)
            if (!is_between(byte(i), 0x80, 0xbf))
                return false;
        at += length;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    FUZZ_CHECK(gateway::lock_reason_problem(text).empty() == simple_reading(text));
    return 0;
}
