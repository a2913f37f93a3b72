#include "simulated_router.h"

simulated_router new_router(int inputs, int outputs, bool split_levels) {
    simulated_router router;
    router.split_levels = split_levels;
    for (int input = 0; input < inputs; ++input) {
        router.input_names.push_back("Input " + std::to_string(input + 1));
    }
    for (int output = 0; output < outputs; ++output) {
        const int source = output < inputs ? output : -1;
        router.outputs.push_back({source, source, "Output " + std::to_string(output + 1)});
    }
    return router;
}

bool execute_take(simulated_router& router, const endpoint_take& take) {
    simulated_output& output = router.outputs[static_cast<std::size_t>(take.output)];
    const int video = take.level == endpoint_level::audio ? output.video_input : take.source;
    const int audio = take.level == endpoint_level::video ? output.audio_input : take.source;
    const bool changed = video != output.video_input || audio != output.audio_input;
    output.video_input = video;
    output.audio_input = audio;
    return changed;
}

bool input_exists(const simulated_router& router, int input) {
    return input >= 0 && static_cast<std::size_t>(input) < router.input_names.size();
}

bool output_exists(const simulated_router& router, int output) {
    return output >= 0 && static_cast<std::size_t>(output) < router.outputs.size();
}
