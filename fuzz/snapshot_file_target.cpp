// A file that is to be restored: whatever is accepted fits its router, and is written and
// read again as it is.
#include "snapshot.h"
#include "target.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string error;
    const std::optional<snapshot> read = parse_snapshot(std::string(as_text(data, size)), &error);
    FUZZ_CHECK(read.has_value() == error.empty());
    FUZZ_CHECK(error.find('\n') == std::string::npos);
    if (!read)
        return 0;
    FUZZ_CHECK(!read->takes.empty() && read->takes.size() <= static_cast<std::size_t>(read->outputs));
    for (const vrdx::output_take& each : read->takes)
        FUZZ_CHECK(each.output >= 1 && each.output <= read->outputs && each.sources.audio >= 0);
    const std::string text = snapshot_text(*read);
    const std::optional<snapshot> again = parse_snapshot(text, &error);
    FUZZ_CHECK(again.has_value());
    FUZZ_CHECK(snapshot_text(*again) == text);
    return 0;
}
