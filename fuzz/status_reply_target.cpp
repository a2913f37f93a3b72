// Any router model, rendered as a status reply and read by the command-line client.
#include "byte_source.h"
#include "driver_state.h"
#include "router.h"
#include "target.h"

namespace {

std::int32_t next_source(byte_source& source) {
    const int kind = next_choice(source, 4);
    return kind == 0 ? static_cast<std::int32_t>(next_word(source)) : next_choice(source, 256) - 1;
}

int next_count(byte_source& source, int most) {
    const int kind = next_choice(source, 8);
    return kind == 0 ? static_cast<int>(next_word(source) % static_cast<std::uint32_t>(most + 1))
                     : next_choice(source, 12);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    reset_driver();
    byte_source source{data, data + size};
    const int inputs = next_count(source, max_inputs);
    const int outputs = next_count(source, max_outputs);
    input_names.resize(static_cast<std::size_t>(inputs));
    router_outputs.resize(static_cast<std::size_t>(outputs));
    for (std::size_t i = 0; i < router_outputs.size() && !used_up(source); ++i)
        router_outputs[i] = {next_source(source), next_source(source), -1, -1, 0, next_text(source)};
    for (std::size_t i = 0; i < input_names.size() && !used_up(source); ++i)
        input_names[i] = next_text(source);
    router_changed();
    report_router_size(inputs, outputs, false);
    check_status_reply();
    return 0;
}
