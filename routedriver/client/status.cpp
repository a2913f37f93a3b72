#include "commands.h"

#include "text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

constexpr std::int32_t max_status_points = 128; // per list of a status reply
constexpr std::size_t whole_names = std::numeric_limits<std::size_t>::max();

// The reply as last written. A router is looked at far more often than it changes.
comm_socket_v4_packet status_reply;
std::uint64_t status_reply_version = 0; // of the picture it shows; 0: none yet

struct status_size {
    std::int32_t in_points;
    std::int32_t out_points;
};

// 0-based to 1-based; the one source too many for it stays where it is.
std::int32_t to_number(std::int32_t index) {
    return index == std::numeric_limits<std::int32_t>::max() ? index : index + 1;
}

void append_number(std::string& text, std::int32_t number) {
    char digits[11];
    text.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

// One entry for each of `count` places: the name and the place's number (1-based), the value of the place
// (0-based).
template<typename get_value>
void write_numbered(comm_socket_v4_packet* respkt, std::string name, std::int32_t count, get_value value) {
    const std::size_t stem = name.size();
    for (std::int32_t place = 0; place < count; ++place) {
        name.resize(stem);
        append_number(name, place + 1);
        comm_socket_v4_packet_write_nv_pair(respkt, name, value(static_cast<std::size_t>(place)));
    }
}

// `longest`: bytes of a name that are shown.
void write_router(comm_socket_v4_packet* respkt, status_size size, std::size_t longest) {
    write_numbered(respkt, "input.name ", size.in_points,
                   [longest](std::size_t place) { return text_head(input_names[place], longest); });
    write_numbered(respkt, "output.name ", size.out_points,
                   [longest](std::size_t place) { return text_head(router_outputs[place].name, longest); });
    std::string sources;
    write_numbered(respkt, "output ", size.out_points, [&](std::size_t place) -> const std::string& {
        sources.clear();
        append_number(sources, to_number(router_outputs[place].audio_input));
        sources += ',';
        append_number(sources, to_number(router_outputs[place].video_input));
        return sources;
    });
}

void write_status_block(comm_socket_v4_packet* respkt, status_size size) {
    const auto in_points = static_cast<unsigned>(size.in_points);
    const auto out_points = static_cast<unsigned>(size.out_points);
    comm_socket_v4_packet_write_argv_end(respkt);
    comm_socket_v4_packet_write_nv_pairf(respkt, "router", "%s", "?");
    comm_socket_v4_packet_write_nv_pairf(respkt, "in points", "%u", in_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "out points", "%u", out_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input range", "%u-%u", 1U, in_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "output range", "%u-%u", 1U, out_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input off setting", "%u", 0U);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input channels", "%s", "A,V");
}

void write_status(comm_socket_v4_packet* respkt, std::size_t longest_name) {
    const status_size size{std::min(input_count, max_status_points),
                           std::min(output_count, max_status_points)};
    const bool known = input_count >= 1 && output_count >= 1;
    respkt->result = known ? 0 : 1;
    // The texts of these assertions are part of what the driver says: no blanks are added to them.
    // clang-format off
    if (known) {
        packet_assert(comm_socket_v4_packet_begin_writing(respkt,0,"status",NULL) == 0); // NOLINT(modernize-use-nullptr)
        write_router(respkt, size, longest_name);
    } else {
        packet_assert(comm_socket_v4_packet_begin_writing(respkt,0,"status","no router") == 0);
    }
    write_status_block(respkt, size);
    packet_assert(comm_socket_v4_packet_write_end(respkt) == 0);
    // clang-format on
}

// Very long names must not make the reply impossible: the longest are shortened until all fit into a packet.
std::size_t longest_name_that_fits(comm_socket_v4_packet* respkt) {
    write_status(respkt, 0);
    const std::int32_t inputs = std::min(input_count, max_status_points);
    const std::int32_t outputs = std::min(output_count, max_status_points);
    std::vector<std::size_t> lengths;
    lengths.reserve(static_cast<std::size_t>(inputs) + static_cast<std::size_t>(outputs));
    for (std::int32_t input = 0; input < inputs; ++input)
        lengths.push_back(input_names[static_cast<std::size_t>(input)].size());
    for (std::int32_t output = 0; output < outputs; ++output)
        lengths.push_back(router_outputs[static_cast<std::size_t>(output)].name.size());
    return longest_that_fits(std::move(lengths), comm_socket_v4_packet_room(respkt));
}

} // namespace

bool answer_status(comm_socket_v4_packet*, comm_socket_v4_packet* respkt, requester) {
    if (status_reply_version == picture_version) {
        *respkt = status_reply;
    } else {
        write_status(respkt, whole_names);
        if (respkt->too_large)
            write_status(respkt, longest_name_that_fits(respkt));
        status_reply = *respkt;
        status_reply_version = picture_version;
    }
    postpone_auto_shutdown();
    return true;
}
