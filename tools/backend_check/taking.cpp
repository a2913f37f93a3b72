#include "taking.h"

#include "router.h"

#include <algorithm>

namespace {

void send_take(conversation& talk, const char* control, int source, int output) {
    std::map<std::string, std::string> fields = {{"queue", "add"},
                                                 {"from input", source < 0 ? "none" : std::to_string(source)},
                                                 {"to output", std::to_string(output)}};
    if (control != nullptr)
        fields["control"] = control;
    send_message(talk, "route output", "command", fields);
}

void add_takes(conversation& talk, const std::vector<crosspoint>& takes) {
    for (const crosspoint& take : takes) {
        if (split_levels && take.audio != take.video) {
            send_take(talk, "video", take.video, take.output);
            send_take(talk, "audio", take.audio, take.output);
        } else {
            send_take(talk, nullptr, take.video, take.output);
        }
    }
}

// Null for an output that the router does not have, or has no longer.
const router_output* output_of(const crosspoint& take) {
    const auto index = static_cast<std::size_t>(take.output);
    return index < router_outputs.size() ? &router_outputs[index] : nullptr;
}

// Enters what the output shows already as a take. Nobody rolls takes back here, so its deadline stays until
// the output is reported.
void await_report(std::int32_t output) {
    const router_output& now = router_outputs.at(static_cast<std::size_t>(output));
    assume_sources({output, {now.audio_input, now.video_input}, 0, {}, "", no_deadline_yet});
}

taken result_of(const std::vector<crosspoint>& takes) {
    taken result;
    for (const crosspoint& take : takes) {
        const router_output* output = output_of(take);
        if (output == nullptr || output->confirm_deadline != 0)
            result.silent.push_back(take.output);
        else if (output->audio_input == take.audio && output->video_input == take.video)
            result.followed.push_back(take.output);
        else
            result.kept.push_back(take.output);
    }
    return result;
}

} // namespace

void forget_reported_routing() {
    for (std::int32_t output = 0; output < output_count; ++output)
        await_report(output);
}

std::vector<crosspoint> reported_routing() {
    std::vector<crosspoint> routing;
    int number = 0;
    for (const router_output& output : router_outputs) {
        if (output.confirm_deadline == 0)
            routing.push_back({number, output.audio_input, output.video_input});
        ++number;
    }
    return routing;
}

void send_without_flush(conversation& talk, const std::vector<crosspoint>& takes) {
    for (const crosspoint& take : takes)
        if (output_of(take) != nullptr)
            await_report(take.output);
    add_takes(talk, takes);
}

void send_flush(conversation& talk) {
    send_message(talk, "route output", "command", {{"queue", "flush"}});
}

taken take_all(conversation& talk, const std::vector<crosspoint>& takes) {
    for (const crosspoint& take : takes)
        if (output_of(take) != nullptr)
            await_report(take.output);
    add_takes(talk, takes);
    send_flush(talk);
    taken result;
    if (!send_all(talk)) {
        result.sent = false;
        return result;
    }
    return look_again(talk, takes, confirmation_time);
}

taken look_again(conversation& talk, const std::vector<crosspoint>& takes,
                 std::chrono::milliseconds longest) {
    taken result;
    wait_for(talk, longest, [&] {
        result = result_of(takes);
        return result.followed.size() == takes.size();
    });
    return result;
}
