#include "commands.h"

#include "backend.h"
#include "plain_text.h"
#include "told_picture.h"
#include "vrdx.h"

#include <algorithm>
#include <optional>

namespace {

constexpr std::size_t describe_page_bytes = 131072; // body of one page

// Room for the entry that says where the next page begins.
constexpr std::size_t next_entry_bytes = 64;

std::uint64_t started_at = monotonic_us();

std::size_t room_on_page(const comm_socket_v4_packet* packet) {
    constexpr std::size_t most = comm_packet_header_bytes + describe_page_bytes - next_entry_bytes;
    return packet->bytes.size() < most ? most - packet->bytes.size() : 0;
}

void write_counter(comm_socket_v4_packet* packet, std::string_view name, counted what) {
    comm_socket_v4_packet_write_nv_pair(packet, name,
                                        std::to_string(counted_since_start(what)) + " " +
                                            std::to_string(counted_in_last_hour(what)));
}

void write_counters(comm_socket_v4_packet* packet) {
    write_told_number(packet, "clients", comm_socket_v4_client_count(vrdx_comm_server));
    write_told_number(packet, "uptime", (monotonic_us() - started_at) / 1000);
    write_counter(packet, "takes asked", counted::asked);
    write_counter(packet, "takes confirmed", counted::confirmed);
    write_counter(packet, "takes refused", counted::refused);
    write_counter(packet, "takes rolled back", counted::rolled_back);
    write_counter(packet, "takes unknown", counted::unknown);
    write_counter(packet, "backend starts", counted::backend_starts);
    write_told_number(packet, "last take", last_take_record);
}

void write_log(comm_socket_v4_packet* packet, std::string_view name, const std::deque<timed_line>& log) {
    for (const timed_line& line : log)
        comm_socket_v4_packet_write_nv_pair(packet, name, std::to_string(line.wall_ms) + " " + line.text);
}

// Where a page begins: "input 12", "output 3"; the place, or nothing for another text.
std::optional<std::int32_t> place_named(std::string_view text) {
    const bool is_input = text.starts_with("input ");
    if (!is_input && !text.starts_with("output "))
        return std::nullopt;
    const auto number = number_of_digits<std::int32_t>(text.substr(text.find(' ') + 1));
    if (!number || *number < 1 || *number > (is_input ? max_inputs : max_outputs))
        return std::nullopt;
    // The router may have become smaller since the page before.
    return is_input ? std::min(*number - 1, input_count) : std::min(input_count + *number - 1, told_places());
}

std::string name_of_place(std::int32_t place) {
    return place < input_count ? "input " + std::to_string(place + 1)
                               : "output " + std::to_string(place - input_count + 1);
}

// The places of a page as last written: a router is looked at far more often than it changes.
struct {
    comm_socket_v4_packet packet;
    std::size_t begin = 0;     // of their entries in its bytes
    std::uint64_t version = 0; // of the picture they show; 0: they are not to be used again
    std::int32_t from = 0;
    std::int32_t to = 0; // the first place that is not among them
} kept_places;

std::size_t kept_bytes() {
    return kept_places.packet.bytes.size() - kept_places.begin;
}

void write_places(std::int32_t from, std::size_t room) {
    comm_socket_v4_packet_begin_writing(&kept_places.packet, 0, "describe", nullptr);
    kept_places.begin = kept_places.packet.bytes.size();
    kept_places.version = picture_version;
    kept_places.from = from;
    std::int32_t place = from;
    for (; place < told_places() && kept_bytes() + told_place_bytes(place) <= room; ++place) {
        write_told_place(&kept_places.packet, place);
        // How long it waits is another time in the next reply.
        if (place >= input_count && !router_outputs[static_cast<std::size_t>(place - input_count)].confirmed)
            kept_places.version = 0;
    }
    kept_places.to = place;
}

// Adds the places from `from` on, as many as fit; the first that does not.
std::int32_t append_places(comm_socket_v4_packet* respkt, std::int32_t from) {
    const std::size_t room = room_on_page(respkt);
    if (kept_places.version != picture_version || kept_places.from != from || kept_bytes() > room)
        write_places(from, room);
    comm_socket_v4_packet_append_items(respkt, kept_places.packet, kept_places.begin);
    return kept_places.to;
}

void write_page(comm_socket_v4_packet* respkt, std::optional<std::int32_t> from) {
    begin_told_packet(respkt, "describe");
    write_told_number(respkt, "sequence", picture_version);
    if (!from) {
        write_told_state(respkt);
        write_counters(respkt);
        write_log(respkt, "error", timed_errors);
        write_log(respkt, "note", timed_notes);
    }
    const std::int32_t place = append_places(respkt, from.value_or(0));
    if (place < told_places())
        comm_socket_v4_packet_write_nv_pair(respkt, "next", name_of_place(place));
}

void write_takes(comm_socket_v4_packet* respkt, std::uint64_t from) {
    constexpr std::size_t most_take_bytes = 2048; // of one group
    begin_told_packet(respkt, "describe");
    write_told_number(respkt, "last take", last_take_record);
    const auto first = std::find_if(take_record.begin(), take_record.end(),
                                    [from](const decided_take& take) { return take.record >= from; });
    for (auto take = first; take != take_record.end(); ++take) {
        if (room_on_page(respkt) < most_take_bytes) {
            write_told_number(respkt, "next", take->record);
            return;
        }
        write_told_take(respkt, *take);
    }
}

// What is not known of every driver that knows `describe`.
void write_features(comm_socket_v4_packet* respkt) {
    begin_told_packet(respkt, "describe");
    comm_socket_v4_packet_write_nv_pair(respkt, "feature", "take until");
}

// The entry `from`; 0 without it, nothing when it is no number or there is another entry.
std::optional<std::uint64_t> read_from(const comm_socket_v4_packet* pkt) {
    std::optional<std::uint64_t> from = 0;
    for_each_entry(pkt, [&from](std::string_view name, std::string_view value) {
        const bool is_from = name == "from" && from;
        from = is_from ? number_of_digits<std::uint64_t>(value) : std::nullopt;
    });
    return from;
}

} // namespace

bool answer_describe(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester) {
    const char* argument = comm_socket_v4_packet_get_argv(pkt, 0);
    const unsigned arguments = comm_socket_v4_packet_get_argc(pkt);
    const unsigned entries = comm_socket_v4_packet_nv_entries(pkt);
    postpone_auto_shutdown();
    if (arguments == 1 && std::string_view(argument) == "takes") {
        if (const std::optional<std::uint64_t> from = read_from(pkt))
            write_takes(respkt, *from);
        else
            return write_refusal(respkt, pkt, "describe takes: its only entry is 'from', a number");
    } else if (arguments > 1 || entries > 0) {
        return write_refusal(respkt, pkt, "describe has one argument at most, and no entries");
    } else if (arguments == 0) {
        write_page(respkt, std::nullopt);
    } else if (std::string_view(argument) == "features") {
        write_features(respkt);
    } else if (const std::optional<std::int32_t> place = place_named(argument)) {
        write_page(respkt, place);
    } else {
        return write_refusal(respkt, pkt, "describe goes on at 'input N', 'output N' or 'takes'");
    }
    comm_socket_v4_packet_write_end(respkt);
    return true;
}
