#include "vrdx.h"

// Names of their own, so that they never stand for the item-wide "audio", "video" and "duration" of media.
void vrdx_standard_vars_to_metadata(metadata_v4_metadata_context* metadata) {
    const auto store = [metadata](const char* name, std::int64_t value) {
        metadata_v4_metadata_context_set(metadata, -1, name, std::to_string(value));
    };
    store("media item type", vrdx_media_item_type);
    store("audio streams", vrdx_audio_streams);
    store("video streams", vrdx_video_streams);
    store("max audio count", vrdx_max_audio_count);
    store("time duration", vrdx_time_duration);
    metadata_v4_metadata_context_set(metadata, -1, "time scale",
                                     std::to_string(vrdx_time_scale[0]) + "/" +
                                         std::to_string(vrdx_time_scale[1]));
}

void vrdx_print_standard_metadata_state() {
    std::fprintf(stderr, "Standard metadata: %zu lines, may update: %s, write back: %s\n",
                 metadata_v4_metadata_context_count(vrdx_metadata), vrdx_metadata_may_update ? "yes" : "no",
                 vrdx_do_write_metadata ? "yes" : "no");
}
