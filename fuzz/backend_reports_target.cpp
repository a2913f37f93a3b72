// What a backend writes to its standard output, line by line, against the router model.
#include "backend.h"
#include "driver_state.h"
#include "incoming_report.h"
#include "router.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    reset_driver();
    std::string_view text = as_text(data, size);
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        read_backend_report_line(text.substr(0, length));
        if (length == 0)
            FUZZ_CHECK(incoming_report_empty() && incoming_type().empty());
        check_router_model();
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    for (const router_output& output : router_outputs)
        FUZZ_CHECK(output.audio_input >= -1 && output.video_input >= -1 && output.confirm_deadline == 0);
    FUZZ_CHECK(pending_line_count() == 0); // reports are never answered
    check_status_reply();
    return 0;
}
