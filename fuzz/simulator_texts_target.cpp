// What the simulated router reads: its settings from the item file and its state file. Input that begins with
// "*" is a state, any other is lines of name=value.
#include "settings.h"
#include "state_file.h"
#include "target.h"

namespace {

void try_state(std::string_view text) {
    simulated_router router = new_router(4, 3, text.size() % 2 == 0);
    const std::string untouched = state_text(router);
    if (!restore_state(text, router)) {
        FUZZ_CHECK(state_text(router) == untouched);
        return;
    }
    for (const simulated_output& output : router.outputs) {
        FUZZ_CHECK(output.audio_input >= -1 && output.audio_input < 4);
        FUZZ_CHECK(output.video_input >= -1 && output.video_input < 4);
        FUZZ_CHECK(router.split_levels || output.audio_input == output.video_input);
    }
    const std::string kept = state_text(router);
    FUZZ_CHECK(restore_state(kept, router));
    FUZZ_CHECK(state_text(router) == kept);
}

std::map<std::string, std::string> name_value_lines(std::string_view text) {
    std::map<std::string, std::string> values;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::size_t equals = std::min(line.find('='), line.size());
        values[std::string(line.substr(0, equals))] = line.substr(std::min(equals + 1, line.size()));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return values;
}

void check_settings(const simulator_settings& settings) {
    FUZZ_CHECK(settings.inputs >= 1 && settings.inputs <= most_router_inputs);
    FUZZ_CHECK(settings.outputs >= 1 && settings.outputs <= most_router_outputs);
    FUZZ_CHECK(settings.delay_ms >= 0 && settings.delay_ms <= longest_delay_ms);
    for (const int output : settings.refused_outputs)
        FUZZ_CHECK(output >= 0 && output < most_router_outputs);
}

void try_settings(std::string_view text) {
    const auto values = name_value_lines(text);
    log_lines log;
    simulator_settings settings = settings_from_item(values, "/items/router", log);
    check_settings(settings);
    for (const auto& [name, value] : values)
        change_simulator_setting(settings, name, value, log);
    check_settings(settings);
    for (const std::string& line : log)
        FUZZ_CHECK(line.starts_with("<ERR>") && line.find('\n') == std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    if (text.starts_with('*'))
        try_state(text);
    else
        try_settings(text);
    return 0;
}
