#include "driver_state.h"
#include "incoming_report.h"

#include "backend.h"
#include "client.h"
#include "comm_socket_v4_limits.h"
#include "router.h"
#include "shown_status.h"
#include "target.h"
#include "vrdx.h"

#include <algorithm>
#include <limits>

std::uint64_t fuzz_clock_us = 1000000000;

std::uint64_t monotonic_us() {
    return fuzz_clock_us;
}

namespace {

// Names are cut to one length, and none within a letter: of each of 256 names four bytes at the most stay
// free.
constexpr std::size_t bytes_that_cutting_leaves = 1024;

constexpr std::int32_t no_real_number = std::numeric_limits<std::int32_t>::max();

// The number that a client sees for a source: from 1, 0 for none; the tool shows negative ones as none.
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

// Settings are forwarded, and then dropped with all else: that clears their clients' accounts, too.
void forget_all_that_waits() {
    if (!pending_settings.empty()) {
        connect_backend();
        notify_backend_settings();
        disconnect_backend();
    }
    requester whose;
    while (!route_requests.empty())
        next_route_request(&whose);
    drop_pending_lines();
}

// The whole name, or its beginning when the reply is full.
bool shows_name(std::string_view shown_name, std::string_view name, bool reply_is_full) {
    return shown_name == name || (reply_is_full && name.starts_with(shown_name));
}

void check_shown_router(const router_status& status, bool reply_is_full) {
    const auto most = static_cast<std::size_t>(status_limit);
    FUZZ_CHECK(status.inputs.size() == std::min(input_names.size(), most));
    FUZZ_CHECK(status.outputs.size() == std::min(router_outputs.size(), most));
    for (std::size_t i = 0; i < status.inputs.size(); ++i)
        FUZZ_CHECK(shows_name(status.inputs[i], input_names[i], reply_is_full));
    for (std::size_t i = 0; i < status.outputs.size(); ++i) {
        FUZZ_CHECK(shows_name(status.outputs[i].name, router_outputs[i].name, reply_is_full));
        FUZZ_CHECK(status.outputs[i].source.audio == shown(router_outputs[i].audio_input));
        FUZZ_CHECK(status.outputs[i].source.video == shown(router_outputs[i].video_input));
    }
}

} // namespace

void reset_driver() {
    fuzz_clock_us = 1000000000;
    disconnect_backend();
    clear_incoming_report();
    report_router_size(0, 0, false);
    forget_all_that_waits();
    dbg_nochg_assume = false;
    debug_messages = false;
    auto_shutdown_delay = 60000000;
    mono_auto_shutdown = 0;
}

void report_router_size(int inputs, int outputs, bool split) {
    read_backend_report_line("*COMMAND=info");
    read_backend_report_line("*TYPE=message");
    read_backend_report_line("inputs=" + std::to_string(inputs));
    read_backend_report_line("outputs=" + std::to_string(outputs));
    if (split)
        read_backend_report_line("output routing controls=video,audio");
    read_backend_report_line("");
}

void connect_backend() {
    backend_stdin_fd = no_real_number;
    backend_stdout_fd = no_real_number;
    backend_stderr_fd = no_real_number;
    backend_pid = no_real_number;
    commands_reach_backend = true;
}

void disconnect_backend() {
    backend_stdin_fd = -1;
    backend_stdout_fd = -1;
    backend_stderr_fd = -1;
    backend_pid = -1;
    commands_reach_backend = false;
    drop_pending_lines();
}

void check_router_model() {
    FUZZ_CHECK(input_count >= 0 && input_count <= max_inputs);
    FUZZ_CHECK(output_count >= 0 && output_count <= max_outputs);
    FUZZ_CHECK(input_names.size() == static_cast<std::size_t>(input_count));
    FUZZ_CHECK(router_outputs.size() == static_cast<std::size_t>(output_count));
    for (const router_output& output : router_outputs) {
        FUZZ_CHECK(output.confirm_deadline <= fuzz_clock_us + assume_timeout ||
                   output.confirm_deadline == no_deadline_yet);
        FUZZ_CHECK(output.confirm_deadline == 0 || !dbg_nochg_assume);
    }
}

void check_pending_messages(const std::function<void(const std::string&)>& look) {
    const std::size_t counted = pending_line_count();
    std::size_t moved = 0;
    for (const std::string* text = pending_line(); text != nullptr; text = pending_line()) {
        check_message_text(*text);
        if (look)
            look(*text);
        pending_line_moved();
        ++moved;
    }
    FUZZ_CHECK(moved == counted && pending_line_count() == 0);
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
    FUZZ_CHECK(!written.too_large);
    FUZZ_CHECK(comm_socket_v4_packet_decode(&reply, bytes_of(written), written.bytes.size()));
    FUZZ_CHECK(is_no_router(reply) == (input_count < 1 || output_count < 1));
    FUZZ_CHECK(reply.result == (is_no_router(reply) ? 1U : 0U));
    const std::optional<router_status> status = decode_status(reply);
    FUZZ_CHECK(status.has_value() != is_no_router(reply));
    if (status)
        check_shown_router(*status, written.bytes.size() + bytes_that_cutting_leaves > comm_max_packet_bytes);
}
