#include "router.h"

namespace {

// Without separate levels the video source stands for the whole output.
void plan(const route_request& request, requester whose) {
    const bool breakaway = split_levels && request.audio_input != request.video_input;
    send_take_commands({request.audio_input, request.video_input}, request.output, breakaway, whose);
    watch_route(request, breakaway, whose);
}

} // namespace

void plan_route_changes() {
    if (!commands_reach_backend || route_requests.empty())
        return;
    while (!route_requests.empty()) {
        requester whose;
        const route_request request = next_route_request(&whose);
        plan(request, whose);
    }
    watched_batch(send_route_flush(0));
}

void request_router_report() {
    TavrixAPIRouterMessage message;
    message.command = "report";
    message.type = "command";
    for (const char* what : {"outputs", "inputs"}) {
        message.fields["what"] = what;
        router_send_message(message);
    }
}
