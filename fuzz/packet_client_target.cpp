// What a driver answers, as the command-line client reads it. Input that does not begin with a packet's magic
// is used as the body of a reply, so that the fuzzer need not guess lengths.
#include "client_record.h"
#include "comm_socket_v4_packet.h"
#include "driver_report.h"
#include "json_output.h"
#include "packet_text.h"
#include "snapshot.h"
#include "status_table.h"
#include "target.h"
#include "watch_lines.h"

#include <numeric>
#include <optional>
#include <string>

namespace {

constexpr std::size_t tried_width = 60;
constexpr std::size_t small_router = 256; // printing all of a large one needs too much time

std::string reply_bytes(std::string_view input) {
    if (input.starts_with("TVX4"))
        return std::string(input);
    std::string bytes("TVX4\0\1\0\0", 8);
    for (unsigned shift = 32; shift > 0; shift -= 8)
        bytes.push_back(static_cast<char>(input.size() >> (shift - 8)));
    return bytes.append(8, '\0').append(input);
}

void check_snapshot(const vrdx::router_picture& picture) {
    std::vector<int> left_out;
    const snapshot saved = snapshot_of(picture, true, &left_out);
    FUZZ_CHECK(saved.takes.size() + left_out.size() == picture.outputs.size());
    std::string error;
    const std::optional<snapshot> read = parse_snapshot(snapshot_text(saved), &error);
    if (!read)
        return; // a driver may claim what no snapshot holds, such as a source beyond its inputs
    FUZZ_CHECK(read->inputs == saved.inputs && read->outputs == saved.outputs);
    FUZZ_CHECK(read->takes == saved.takes);
}

bool is_one_line(const std::string& text) {
    return text.find('\n') == std::string::npos;
}

void show_picture(const vrdx::router_picture& picture) {
    static watched_picture known; // of the reply before this one
    if (picture.inputs.size() > small_router || picture.outputs.size() > small_router)
        return;
    std::vector<int> outputs(picture.outputs.size());
    std::iota(outputs.begin(), outputs.end(), 1);
    status_table(picture, outputs, tried_width, true);
    FUZZ_CHECK(is_one_line(json_line(json_of_router(picture, outputs))));
    for (const watch_line& each : lines_of_change(&known, picture, {}, true)) {
        FUZZ_CHECK(is_one_line(each.text));
        json_line(each.object);
    }
    FUZZ_CHECK(lines_of_change(&known, picture, {}, true).empty());
    check_snapshot(picture);
}

void show_records(const comm_socket_v4_packet& reply, const vrdx::router_picture& picture) {
    std::vector<vrdx::take_record> records;
    vrdx::read_take_records(reply, &records);
    for (const vrdx::take_record& each : records)
        FUZZ_CHECK(is_one_line(line_of_take(each, picture).text));
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
    vrdx::router_picture picture;
    std::string next;
    if (vrdx::add_page(&picture, reply, &next))
        show_picture(picture);
    show_records(reply, picture);
    return 0;
}
