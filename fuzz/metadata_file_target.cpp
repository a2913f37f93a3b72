// The metadata file: reading and writing it once brings it into its final form, a second time changes
// nothing, and a value that is set is there after the next reading.
#include "metadata_v4.h"
#include "target.h"
#include "temporary_file.h"

#include <memory>

namespace {

using metadata_owner = std::unique_ptr<metadata_v4_metadata_context, decltype(&metadata_v4_metadata_free)>;

metadata_owner open_metadata(const metadata_v4_context& item) {
    metadata_owner metadata(metadata_v4_metadata_open(&item), metadata_v4_metadata_free);
    FUZZ_CHECK(metadata != nullptr);
    return metadata;
}

std::string rewritten(const metadata_v4_context& item) {
    const metadata_owner metadata = open_metadata(item);
    FUZZ_CHECK(metadata_v4_metadata_context_write_metadata_to_file(metadata.get(), &item, 0, nullptr) == 0);
    return read_temporary_file();
}

const metadata_v4_metadata_entry* find_entry(metadata_v4_metadata_context* metadata, std::int32_t stream,
                                             const std::string& name) {
    for (std::size_t i = 0; i < metadata_v4_metadata_context_count(metadata); ++i) {
        const metadata_v4_metadata_entry* entry = metadata_v4_metadata_context_read_entry(metadata, i);
        if (entry != nullptr && entry->stream == stream && entry->name == name)
            return entry;
    }
    return nullptr;
}

// `value`: any bytes. It is kept on one line, so line ends in it become blanks.
void check_setting(const metadata_v4_context& item, std::int32_t stream, const std::string& value) {
    {
        const metadata_owner metadata = open_metadata(item);
        metadata_v4_metadata_context_set(metadata.get(), stream, "tally", value);
        FUZZ_CHECK(metadata_v4_metadata_context_write_metadata_to_file(metadata.get(), &item, 0, nullptr) ==
                   0);
    }
    const metadata_owner metadata = open_metadata(item);
    const metadata_v4_metadata_entry* entry = find_entry(metadata.get(), stream, "tally");
    FUZZ_CHECK(entry != nullptr && entry->value.size() == value.size());
    FUZZ_CHECK(entry->value.find_first_of("\r\n") == std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    metadata_v4_context item;
    item.metadata_path = temporary_file_path();
    write_temporary_file(as_text(data, size));
    const std::string once = rewritten(item);
    FUZZ_CHECK(once.empty() || once.ends_with('\n'));
    FUZZ_CHECK(rewritten(item) == once);
    check_setting(item, size % 2 == 0 ? -1 : 3, std::string(as_text(data, size)));
    return 0;
}
