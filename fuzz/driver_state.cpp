#include "driver_state.h"

#include "backend.h"
#include "client.h"
#include "router.h"
#include "router_status.h"
#include "target.h"
#include "vrdx.h"

#include <algorithm>
#include <limits>

std::uint64_t fuzz_clock_us = 1000000000;

std::uint64_t monotonic_us() {
    return fuzz_clock_us;
}

namespace {

constexpr std::int32_t no_real_number = std::numeric_limits<std::int32_t>::max();

// The number that a client sees for a source: from 1, 0 for none; the tool takes negative ones for none.
int shown(std::int32_t input) {
    return input < 0 ? 0 : static_cast<int>(std::min<std::int64_t>(std::int64_t{input} + 1, no_real_number));
}

void check_message_text(const std::string& text) {
    FUZZ_CHECK(text == "\n" || text.ends_with("\n\n"));
    TavrixAPIRouterMessage message;
    std::size_t at = 0;
    for (std::size_t feed = text.find('\n'); feed != at; feed = text.find('\n', at)) {
        parse_router_message_line(message, std::string_view(text).substr(at, feed - at));
        at = feed + 1;
    }
    FUZZ_CHECK(at + 1 == text.size()); // one message, not several
    FUZZ_CHECK(!router_message_empty(message));
    FUZZ_CHECK(!message.command.empty() && !message.type.empty());
    std::string again;
    encode_router_message(message, again);
    TavrixAPIRouterMessage reread;
    for (at = 0; again[at] != '\n'; at = again.find('\n', at) + 1)
        parse_router_message_line(reread, std::string_view(again).substr(at, again.find('\n', at) - at));
    FUZZ_CHECK(reread.command == message.command && reread.type == message.type);
    FUZZ_CHECK(reread.fields == message.fields);
}

void check_shown_router(const router_status& status) {
    const auto most = static_cast<std::size_t>(status_limit);
    FUZZ_CHECK(status.inputs.size() == std::min(input_names.size(), most));
    FUZZ_CHECK(status.outputs.size() == std::min(router_outputs.size(), most));
    for (std::size_t i = 0; i < status.inputs.size(); ++i)
        FUZZ_CHECK(status.inputs[i] == input_names[i]);
    for (std::size_t i = 0; i < status.outputs.size(); ++i) {
        FUZZ_CHECK(status.outputs[i].name == router_outputs[i].name);
        FUZZ_CHECK(status.outputs[i].source.audio == shown(router_outputs[i].audio_input));
        FUZZ_CHECK(status.outputs[i].source.video == shown(router_outputs[i].video_input));
    }
}

} // namespace

void reset_driver() {
    fuzz_clock_us = 1000000000;
    disconnect_backend();
    clear_router_message(incoming_report);
    report_router_size(0, 0, false);
    route_requests.clear();
    dbg_nochg_assume = false;
    pending_settings.clear();
    debug_messages = false;
    auto_shutdown_delay = 60000000;
    mono_auto_shutdown = 0;
}

void report_router_size(int inputs, int outputs, bool split) {
    take_backend_report_line("*COMMAND=info");
    take_backend_report_line("*TYPE=message");
    take_backend_report_line("inputs=" + std::to_string(inputs));
    take_backend_report_line("outputs=" + std::to_string(outputs));
    if (split)
        take_backend_report_line("output routing controls=video,audio");
    take_backend_report_line("");
}

void connect_backend() {
    backend_stdin_fd = no_real_number;
    backend_stdout_fd = no_real_number;
    backend_stderr_fd = no_real_number;
    backend_pid = no_real_number;
}

void disconnect_backend() {
    backend_stdin_fd = -1;
    backend_stdout_fd = -1;
    backend_stderr_fd = -1;
    backend_pid = -1;
    pending_lines.clear();
}

void check_router_model() {
    FUZZ_CHECK(input_count >= 0 && input_count <= max_inputs);
    FUZZ_CHECK(output_count >= 0 && output_count <= max_outputs);
    FUZZ_CHECK(input_names.size() == static_cast<std::size_t>(input_count));
    FUZZ_CHECK(router_outputs.size() == static_cast<std::size_t>(output_count));
    for (const router_output& output : router_outputs) {
        FUZZ_CHECK(output.confirm_deadline <= fuzz_clock_us + assume_timeout);
        FUZZ_CHECK(output.confirm_deadline == 0 || !dbg_nochg_assume);
    }
}

void check_pending_messages() {
    for (const std::string& text : pending_lines)
        check_message_text(text);
}

void check_status_reply() {
    comm_socket_v4_packet request;
    comm_socket_v4_packet written;
    comm_socket_v4_packet reply;
    comm_socket_v4_packet_begin_writing(&reply, 0, "status", nullptr);
    comm_socket_v4_packet_write_end(&reply);
    const auto bytes_of = [](const comm_socket_v4_packet& packet) {
        return reinterpret_cast<const unsigned char*>(packet.bytes.data());
    };
    FUZZ_CHECK(comm_socket_v4_packet_decode(&request, bytes_of(reply), reply.bytes.size()));
    FUZZ_CHECK(my_vrdx_custom_packet(&request, &written, nullptr, nullptr) == 1);
    if (written.too_large)
        return; // the server turns it into an error
    FUZZ_CHECK(comm_socket_v4_packet_decode(&reply, bytes_of(written), written.bytes.size()));
    FUZZ_CHECK(is_no_router(reply) == (input_count < 1 || output_count < 1));
    FUZZ_CHECK(reply.result == (is_no_router(reply) ? 1U : 0U));
    const std::optional<router_status> status = decode_status(reply);
    FUZZ_CHECK(status.has_value() != is_no_router(reply));
    if (status)
        check_shown_router(*status);
}
