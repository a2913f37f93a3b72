// A router for tests, as it is shown.
#pragma once

#include "gateway/routers/shown_router.h"

namespace gateway {

inline shown_router a_router(std::size_t inputs = 4, std::size_t outputs = 3,
                             const std::string& name = "studio") {
    shown_router router;
    router.name = name;
    router.state = router_state::up;
    router.version = 1;
    router.picture.epoch = "0123456789abcdef";
    router.picture.sequence = 7;
    router.picture.split_levels = true;
    for (std::size_t number = 1; number <= inputs; number++)
        router.picture.inputs.push_back({true, "Input " + std::to_string(number), {}});
    for (std::size_t number = 1; number <= outputs; number++) {
        vrdx::picture_output output;
        output.told = true;
        output.name = "Output " + std::to_string(number);
        output.sources = {1, 1};
        router.picture.outputs.push_back(output);
    }
    return router;
}

inline vrdx::level_sources audio_video(int audio, int video) {
    vrdx::level_sources sources;
    sources.audio = audio;
    sources.video = video;
    return sources;
}

} // namespace gateway
