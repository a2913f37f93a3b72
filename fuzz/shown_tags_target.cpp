// The header If-None-Match: a tag is found in it where it stands between commas, and nowhere else.
#include "gateway/http/http_text.h"
#include "target.h"

#include <string>

using namespace gateway;

namespace {

constexpr std::string_view tag = "\"0123456789abcdef-00112233.7.1\"";

// Without the blanks around it and a mark of weakness in front of it.
std::string bare(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.pop_back();
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.erase(0, 1);
    return text.rfind("W/", 0) == 0 ? text.substr(2) : text;
}

bool simple_reading(std::string_view header) {
    std::string part;
    for (std::size_t at = 0; at <= header.size(); ++at) {
        if (at < header.size() && header[at] != ',') {
            part += header[at];
            continue;
        }
        const std::string one = bare(part);
        if (one == tag || one == "*")
            return true;
        part.clear();
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view header = as_text(data, size);
    FUZZ_CHECK(names_tag(header, tag) == simple_reading(header));
    FUZZ_CHECK(names_tag(std::string(header) + ", W/" + std::string(tag), tag));
    return 0;
}
