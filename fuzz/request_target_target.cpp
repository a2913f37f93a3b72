// The target of a request: what is accepted is a plain path that names the same thing however it is written.
#include "gateway/http/request_target.h"
#include "gateway/http/utf8.h"
#include "target.h"

#include <algorithm>
#include <cstdio>
#include <string>

using namespace gateway;

namespace {

bool is_plain(std::string_view text) {
    return is_utf8(text) && std::none_of(text.begin(), text.end(), [](unsigned char letter) {
               return letter < 0x20 || letter == 0x7f;
           });
}

// Every byte but the slash.
std::string encoded(std::string_view text) {
    std::string all;
    for (const char letter : text) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%%%02x", static_cast<unsigned char>(letter));
        all += letter == '/' ? "/" : digits;
    }
    return all;
}

std::string encoded(const request_target& target) {
    std::string all = encoded(target.path) + '?';
    for (const auto& [name, value] : target.query) {
        std::string item = encoded(name) + '=' + encoded(value);
        for (std::size_t slash = item.find('/'); slash != std::string::npos; slash = item.find('/'))
            item.replace(slash, 1, "%2F");
        all += item + '&';
    }
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    request_target target;
    if (!read_target(as_text(data, size), &target).empty())
        return 0;
    FUZZ_CHECK(target.path.starts_with('/'));
    FUZZ_CHECK(is_plain(target.path) && target.path.find('\\') == std::string::npos);
    FUZZ_CHECK((target.path + '/').find("/../") == std::string::npos);
    FUZZ_CHECK((target.path + '/').find("/./") == std::string::npos);
    FUZZ_CHECK(target.authority.find('@') == std::string::npos);
    for (const auto& [name, value] : target.query)
        FUZZ_CHECK(is_plain(name) && is_plain(value));
    request_target again;
    FUZZ_CHECK(read_target(encoded(target), &again).empty());
    FUZZ_CHECK(again.path == target.path && again.query == target.query && again.authority.empty());
    return 0;
}
