#include "router.h"

#include "monotonic_us.h"

std::int32_t input_count = 0;
std::int32_t output_count = 0;
bool split_levels = false;
std::vector<std::string> input_names;
std::vector<router_output> router_outputs;
std::deque<route_request> route_requests;
bool dbg_nochg_assume = false;
const std::uint64_t assume_timeout = 1000000;
std::uint64_t router_version = 1;

void router_changed() {
    ++router_version;
}

void expire_assumed_routes() {
    const std::uint64_t now = monotonic_us();
    for (router_output& output : router_outputs) {
        if (output.confirm_deadline == 0 || output.confirm_deadline > now)
            continue;
        output.audio_input = output.saved_audio_input;
        output.video_input = output.saved_video_input;
        output.confirm_deadline = 0;
        router_changed();
    }
}
