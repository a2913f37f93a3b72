// The body of a request: what is accepted as JSON means the same to every reader.
#include "gateway/api/json_reading.h"
#include "gateway/http/utf8.h"
#include "gateway/settings/limits.h"
#include "target.h"

#include <cstdint>
#include <limits>

using namespace gateway;

namespace {

struct measure {
    std::size_t members = 0, depth = 0;
};

void check_value(const json& value, std::size_t depth, measure* all) {
    all->depth = std::max(all->depth, depth + (value.is_structured() ? 1 : 0));
    if (value.is_number()) {
        FUZZ_CHECK(value.is_number_integer());
        FUZZ_CHECK(value.get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min());
        FUZZ_CHECK(value.get<std::int64_t>() <= std::numeric_limits<std::int32_t>::max());
    }
    if (value.is_string())
        FUZZ_CHECK(is_utf8(value.get_ref<const std::string&>()));
    if (value.is_object())
        all->members += value.size();
    if (value.is_structured())
        for (const json& each : value)
            check_value(each, depth + 1, all);
}

// Colons that are not inside a string: one for each member that was written.
std::size_t written_members(std::string_view text) {
    std::size_t colons = 0;
    bool inside = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (inside && text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            inside = !inside;
        else if (text[at] == ':' && !inside)
            ++colons;
    }
    return colons;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    std::string problem;
    const auto read = read_json(text, &problem);
    FUZZ_CHECK(read.has_value() == problem.empty());
    if (!read)
        return 0;
    measure all;
    check_value(*read, 0, &all);
    FUZZ_CHECK(all.depth <= json_depth_limit);
    FUZZ_CHECK(all.members == written_members(text));
    FUZZ_CHECK(is_utf8(text));
    const auto again = read_json(json_text(*read), &problem);
    FUZZ_CHECK(again && *again == *read);
    return 0;
}
