// The driver's own commands with any arguments and entries. The first byte chooses the command, the size of
// the router and whether a backend is there.
#include "backend.h"
#include "byte_source.h"
#include "client.h"
#include "driver_state.h"
#include "target.h"
#include "vrdx.h"

namespace {

constexpr unsigned backend_bit = 4;
constexpr unsigned split_bit = 8;
constexpr unsigned router_bit = 16;

void prepare(unsigned choices) {
    reset_driver();
    if ((choices & backend_bit) != 0)
        connect_backend();
    const int size = (choices & router_bit) != 0 ? 4 : 0;
    report_router_size(size, size, (choices & split_bit) != 0);
}

void write_request(byte_source& source, const char* command, comm_socket_v4_packet* packet) {
    comm_socket_v4_packet_begin_writing(packet, 0, command, nullptr);
    for (int count = next_choice(source, 8); count > 0; --count)
        comm_socket_v4_packet_write_arg(packet, next_text(source));
    while (!used_up(source)) {
        const std::string name = next_choice(source, 2) == 0 ? "set" : next_text(source);
        comm_socket_v4_packet_write_nv_pair(packet, name, next_text(source));
    }
    comm_socket_v4_packet_write_end(packet);
}

void decode(const comm_socket_v4_packet& written, comm_socket_v4_packet* packet) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(written.bytes.data());
    FUZZ_CHECK(comm_socket_v4_packet_decode(packet, bytes, written.bytes.size()));
}

// The reply is the same whatever was asked for.
void check_reply(const comm_socket_v4_packet& written, const std::string& command) {
    comm_socket_v4_packet reply;
    decode(written, &reply);
    FUZZ_CHECK(comm_socket_v4_packet_get_command(&reply) == command);
    if (command != "status")
        FUZZ_CHECK(reply.items.size() == 2 && reply.result == 0);
}

void check_queues(const std::string& command) {
    FUZZ_CHECK(command == "route" || route_requests.empty());
    FUZZ_CHECK(!commands_reach_backend || route_requests.empty());
    FUZZ_CHECK(command != "status" || pending_line_count() == 0);
    const std::string kind = "*COMMAND=" + std::string(command == "route" ? "route output" : "router set");
    check_pending_messages(
        [&kind](const std::string& text) { FUZZ_CHECK(text.starts_with(kind + "\n*TYPE=command\n")); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const char* const commands[] = {"route", "router set", "status", "Status"};
    byte_source source{data, data + size};
    const unsigned choices = next_byte(source);
    const std::string command = commands[choices % 4];
    prepare(choices);
    comm_socket_v4_packet written;
    comm_socket_v4_packet request;
    comm_socket_v4_packet reply;
    write_request(source, command.c_str(), &written);
    decode(written, &request);
    const int handled = my_vrdx_custom_packet(&request, &reply, nullptr, nullptr);
    FUZZ_CHECK(handled == (command == "Status" ? 0 : 1));
    FUZZ_CHECK(mono_auto_shutdown == (handled == 1 ? fuzz_clock_us + auto_shutdown_delay : 0));
    if (handled == 1)
        check_reply(reply, command);
    else
        FUZZ_CHECK(reply.bytes.empty());
    check_queues(command);
    check_router_model();
    check_status_reply();
    return 0;
}
