#include "state_file.h"

#include "message.h"
#include "plain_text.h"

#include <optional>

namespace {

constexpr char state_command[] = "simulated router";
constexpr char state_type[] = "state";

void put_source(TavrixAPIRouterMessage& state, const std::string& name, int input) {
    state.fields[name] = input < 0 ? "none" : std::to_string(input);
}

// False unless the text is one message, from its first line to the blank line that ends it.
bool read_message(std::string_view text, TavrixAPIRouterMessage& message) {
    for (auto feed = text.find('\n'); feed != std::string_view::npos; feed = text.find('\n')) {
        const std::string_view line = text.substr(0, feed);
        text.remove_prefix(feed + 1);
        if (line.empty()) {
            return text.empty();
        }
        parse_router_message_line(message, line);
    }
    return false;
}

bool restore_source(const simulated_router& router, const std::string& value, int& source) {
    if (value == "none") {
        source = -1;
        return true;
    }
    const std::optional<int> input = whole_number(value);
    if (!input || *input < 0) {
        return false;
    }
    source = input_exists(router, *input) ? *input : -1;
    return true;
}

bool restore_input(simulated_router& router, int input, std::string_view property, const std::string& value) {
    if (property != "name") {
        return false;
    }
    if (input_exists(router, input)) {
        router.input_names[static_cast<std::size_t>(input)] = value;
    }
    return true;
}

bool restore_output(simulated_router& router, int output, std::string_view property,
                    const std::string& value) {
    simulated_output left_out;
    simulated_output& place =
        output_exists(router, output) ? router.outputs[static_cast<std::size_t>(output)] : left_out;
    if (property == "name") {
        place.name = value;
        return true;
    }
    if (property == "input.video") {
        return restore_source(router, value, place.video_input);
    }
    return property == "input.audio" && restore_source(router, value, place.audio_input);
}

// One field: "i3.name", "o3.name", "o3.input.audio" or "o3.input.video".
bool restore_field(simulated_router& router, std::string_view name, const std::string& value) {
    const auto dot = name.find('.');
    if (dot == std::string_view::npos || dot == 0) {
        return false;
    }
    const std::optional<int> number = whole_number(name.substr(1, dot - 1));
    if (!number || *number < 0) {
        return false;
    }
    const std::string_view property = name.substr(dot + 1);
    if (name.starts_with('i')) {
        return restore_input(router, *number, property, value);
    }
    return name.starts_with('o') && restore_output(router, *number, property, value);
}

} // namespace

std::string state_text(const simulated_router& router) {
    TavrixAPIRouterMessage state;
    state.command = state_command;
    state.type = state_type;
    int input = 0;
    for (const std::string& name : router.input_names) {
        state.fields["i" + std::to_string(input++) + ".name"] = name;
    }
    int output = 0;
    for (const simulated_output& routed : router.outputs) {
        const std::string prefix = "o" + std::to_string(output);
        state.fields[prefix + ".name"] = routed.name;
        put_source(state, prefix + ".input.audio", routed.audio_input);
        put_source(state, prefix + ".input.video", routed.video_input);
        ++output;
    }
    std::string text;
    encode_router_message(state, text);
    return text;
}

bool restore_state(std::string_view text, simulated_router& router) {
    TavrixAPIRouterMessage state;
    if (!read_message(text, state) || state.command != state_command || state.type != state_type) {
        return false;
    }
    simulated_router restored = router;
    for (const auto& [name, value] : state.fields) {
        if (!restore_field(restored, name, value)) {
            return false;
        }
    }
    if (!restored.split_levels) { // the file may be from a time when the levels were split
        for (simulated_output& output : restored.outputs) {
            output.audio_input = output.video_input;
        }
    }
    router = std::move(restored);
    return true;
}
