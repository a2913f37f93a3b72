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
    resize_picture(inputs, outputs, false);
    for (std::int32_t output = 0; output < outputs && !used_up(source); ++output) {
        report_source(output, true, false, next_source(source));
        report_source(output, false, true, next_source(source));
        name_output(output, next_text(source));
    }
    for (std::int32_t input = 0; input < inputs && !used_up(source); ++input)
        name_input(input, next_text(source));
    check_status_reply();
    return 0;
}
