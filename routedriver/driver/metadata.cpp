#include "driver.h"

#include "vrdx.h"

#include <cstdio>

namespace {

constexpr std::int64_t endless_duration = 140737488355327; // 2^47 - 1

void set_standard_variables() {
    vrdx_audio_streams = 0;
    vrdx_video_streams = 0;
    vrdx_time_duration = endless_duration;
    vrdx_max_audio_count = 0;
    vrdx_media_item_type = 0;
    vrdx_time_scale[0] = 1;
    vrdx_time_scale[1] = 1;
}

bool is_stale(const metadata_v4_metadata_entry& entry) {
    return entry.stream == -1 && (entry.name == "duration" || entry.name == "audio" || entry.name == "video");
}

// Freeing leaves a slot's place as it is, so that going on to the next index passes over no entry.
void free_stale_entries() {
    for (std::size_t i = 0; vrdx_metadata != nullptr && i < metadata_v4_metadata_context_count(vrdx_metadata);
         ++i) {
        metadata_v4_metadata_entry* entry = metadata_v4_metadata_context_read_entry(vrdx_metadata, i);
        if (entry != nullptr && is_stale(*entry))
            metadata_v4_metadata_context_free_metadata_entry(vrdx_metadata, entry);
    }
}

void write_metadata_back() {
    std::fputs("* Writing metadata back\n", stderr);
    vrdx_standard_vars_to_metadata(vrdx_metadata);
    if (metadata_v4_metadata_context_write_metadata_to_file(vrdx_metadata, vrdx_meta, 0, nullptr) != 0)
        std::fputs("Problem writing metadata\n", stderr);
}

} // namespace

void publish_item_metadata() {
    set_standard_variables();
    free_stale_entries();
    if (vrdx_metadata_may_update && vrdx_do_write_metadata)
        write_metadata_back();
    metadata_v4_metadata_close_file(vrdx_metadata);
}
