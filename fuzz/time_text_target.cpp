// Points in time as the history is asked for them: what is one, is written back as the same one.
#include "gateway/api/time_text.h"
#include "target.h"

#include <string>

using namespace gateway;

namespace {

constexpr std::int64_t last_us = 253402300799999999; // of the year 9999

// The digits and marks that each of them begins with.
bool has_form(std::string_view text) {
    constexpr std::string_view form = "0000-00-00T00:00:00";
    if (text.size() <= form.size())
        return false;
    for (std::size_t at = 0; at < form.size(); ++at) {
        const bool is_digit = text[at] >= '0' && text[at] <= '9';
        if (form[at] == '0' ? !is_digit : text[at] != form[at])
            return false;
    }
    return text.ends_with('Z') || (text.size() >= form.size() + 6 && text[text.size() - 3] == ':');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    const auto time = microseconds_of_rfc3339(text);
    if (!time)
        return 0;
    FUZZ_CHECK(has_form(text));
    if (*time < 0 || *time > last_us)
        return 0; // of times that are not written
    const std::string written = rfc3339_of_microseconds(*time);
    FUZZ_CHECK(written.size() == 27 && microseconds_of_rfc3339(written) == time);
    // To the year, but for the zone and a second beyond the minute.
    FUZZ_CHECK(text.substr(0, 4) == written.substr(0, 4) || text.substr(5, 5) == "12-31" ||
               text.substr(5, 5) == "01-01");
    return 0;
}
