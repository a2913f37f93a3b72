#include "router.h"

#include "backend.h"
#include "monotonic_us.h"

#include <string>

namespace {

// One command of a batch. `control` is the level, null for all levels at once.
void send_take(const char* control, std::int32_t input, std::int32_t output) {
    TavrixAPIRouterMessage message;
    message.command = "route output";
    message.type = "command";
    message.fields["queue"] = "add";
    if (control != nullptr)
        message.fields["control"] = control;
    message.fields["from input"] = input < 0 ? "none" : std::to_string(input);
    message.fields["to output"] = std::to_string(output); // also when the router has no such output
    router_send_message(message);
}

void send_flush() {
    TavrixAPIRouterMessage message;
    message.command = "route output";
    message.type = "command";
    message.fields["queue"] = "flush";
    router_send_message(message);
}

// The output whose picture follows the request at once; null when there is none or nothing is assumed.
router_output* assumed_output(const route_request& request) {
    if (dbg_nochg_assume || request.output < 0 ||
        request.output >= static_cast<std::int32_t>(router_outputs.size()))
        return nullptr;
    return &router_outputs[static_cast<std::size_t>(request.output)];
}

void arm_rollback(router_output& output) {
    output.saved_audio_input = output.audio_input;
    output.saved_video_input = output.video_input;
    output.confirm_deadline = monotonic_us() + assume_timeout;
}

void take_levels_apart(const route_request& request, router_output* assumed) {
    send_take("video", request.video_input, request.output);
    if (assumed != nullptr)
        assumed->video_input = request.video_input;
    send_take("audio", request.audio_input, request.output);
    if (assumed != nullptr)
        assumed->audio_input = request.audio_input;
}

// Without separate levels the video source stands for the whole output.
void take_all_levels(const route_request& request, router_output* assumed) {
    send_take(nullptr, request.video_input, request.output);
    if (assumed != nullptr)
        assumed->audio_input = assumed->video_input = request.video_input;
}

} // namespace

void plan_route_changes() {
    if (!backend_connected() || route_requests.empty())
        return;
    int commands = 0;
    for (; !route_requests.empty(); route_requests.pop_front()) {
        const route_request& request = route_requests.front();
        router_output* assumed = assumed_output(request);
        if (assumed != nullptr)
            arm_rollback(*assumed);
        if (split_levels && request.audio_input != request.video_input) {
            take_levels_apart(request, assumed);
            commands += 2;
        } else {
            take_all_levels(request, assumed);
            commands += 1;
        }
    }
    router_changed();
    if (commands > 0)
        send_flush();
}
