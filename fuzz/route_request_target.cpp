// One take as a client writes it, OUT=A,V, against a second, simple reading of the numbers.
#include "client.h"
#include "target.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace {

// The 0-based number that `text` begins with, as strtol reads it: 0 when there is none, and never beyond what
// the model can hold.
std::int32_t simple_number(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r')))
        ++at;
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+'))
        ++at;
    std::int64_t number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        number = std::min(number * 10 + (text[at] - '0'), std::int64_t{1} << 40U);
    number = (negative ? -number : number) - 1;
    constexpr std::int64_t least = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(number, least, most));
}

std::vector<std::int32_t> simple_sources(std::string_view value) {
    std::vector<std::int32_t> sources;
    while (!value.empty()) {
        const std::size_t comma = value.find(',');
        sources.push_back(simple_number(value.substr(0, comma)));
        value.remove_prefix(comma == std::string_view::npos ? value.size() : comma + 1);
    }
    return sources;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view given = as_text(data, size);
    const std::string text(given.substr(0, given.find('\0')));
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::string name = text.substr(0, equals);
    const std::string value = text.substr(std::min(equals + 1, text.size()));
    route_request request;
    parse_route_request(request, name.c_str(), value.c_str());
    FUZZ_CHECK(request.output == simple_number(name));
    std::vector<std::int32_t> sources = simple_sources(value);
    if (sources.empty())
        sources.push_back(-1);
    FUZZ_CHECK(request.audio_input == sources[0]);
    FUZZ_CHECK(request.video_input == (sources.size() > 1 ? sources[1] : sources[0]));
    return 0;
}
