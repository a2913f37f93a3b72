// What a driver answers, as the command-line client reads it. Input that does not begin with a packet's magic
// is taken for the body of a reply, so that the fuzzer need not guess lengths.
#include "change.h"
#include "comm_socket_v4_packet.h"
#include "driver_report.h"
#include "json_output.h"
#include "packet_text.h"
#include "router_status.h"
#include "snapshot.h"
#include "status_table.h"
#include "target.h"

#include <optional>
#include <string>

namespace {

constexpr std::size_t tried_width = 60;
constexpr int small_router = 256; // a reply may claim up to 65536; printing all of them takes its time

std::string reply_bytes(std::string_view input) {
    if (input.starts_with("TVX4"))
        return std::string(input);
    std::string bytes("TVX4\0\1\0\0", 8);
    for (unsigned shift = 32; shift > 0; shift -= 8)
        bytes.push_back(static_cast<char>(input.size() >> (shift - 8)));
    return bytes.append(8, '\0').append(input);
}

void check_snapshot(const router_status& status) {
    const snapshot taken = snapshot_of(status);
    std::string error;
    const std::optional<snapshot> read = parse_snapshot(snapshot_text(taken), &error);
    if (!read)
        return; // a status may claim what no snapshot holds, such as a source beyond its inputs
    FUZZ_CHECK(read->inputs == taken.inputs && read->outputs == taken.outputs);
    FUZZ_CHECK(read->takes.size() == taken.takes.size());
    for (std::size_t i = 0; i < read->takes.size(); ++i)
        FUZZ_CHECK(read->takes[i].output == taken.takes[i].output &&
                   read->takes[i].source == taken.takes[i].source);
    FUZZ_CHECK(misfit(*read, status).empty());
}

void show_status(const router_status& status) {
    static router_status before; // of the reply before this one
    const auto most = static_cast<std::size_t>(small_router);
    if (status.inputs.size() > most || status.outputs.size() > most)
        return;
    status_table(status, tried_width, true);
    json_line(json_of_status(status));
    FUZZ_CHECK(changes_between({status, true}, {status, true}).empty());
    for (const change& each : changes_between({before, true}, {status, true})) {
        FUZZ_CHECK(each.line.find('\n') == std::string::npos);
        json_line(each.object);
    }
    check_snapshot(status);
    before = status;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = reply_bytes(as_text(data, size));
    const auto* wire = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t packet_size = 0;
    comm_socket_v4_packet reply;
    if (comm_socket_v4_packet_frame(wire, bytes.size(), &packet_size) != comm_packet_frame::complete ||
        !comm_socket_v4_packet_decode(&reply, wire, packet_size))
        return 0;
    packet_text(reply);
    const std::string json = json_line(json_of_packet(reply));
    FUZZ_CHECK(json.find('\n') == std::string::npos);
    const driver_report report = decode_report(reply);
    report_text(report);
    json_line(json_of_report(report));
    if (const std::optional<router_status> status = decode_status(reply))
        show_status(*status);
    return 0;
}
