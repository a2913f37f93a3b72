// Watchers keep no backlog. Each knows up to which number of the picture's sequence it was told everything.
// Those that keep up share one packet per pass, with each change in its order; for one that fell behind, what
// has changed since its number is looked up and written as far as it reads, in its newest state.
#include "commands.h"

#include "monotonic_us.h"
#include "told_picture.h"
#include "vrdx.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t most_watchers = 512;
constexpr std::size_t pushed_packet_bytes = 32768; // of a change; one packet at most waits for a slow reader
constexpr int kernel_buffer_bytes = 32768;         // so that the kernel holds no old news
constexpr std::uint64_t sign_of_life_us = 5000000;
constexpr std::uint64_t catching_up_us = 2000; // of one pass, for all who fell behind; the rest is told next

struct watcher {
    std::uint64_t client = 0;
    std::uint64_t told = 0;      // of the sequence; 0: nothing yet
    std::uint64_t telling = 0;   // up to which number it is being told, in several packets; 0: none begun
    std::uint64_t sized_at = 0;  // the version with the last change of sizes when that began
    std::int32_t next_place = 0; // where it goes on
    std::uint64_t takes_told = 0;
};

std::vector<watcher> watchers;
std::size_t first_to_catch_up = 0; // by turns
std::uint64_t next_sign_of_life = 0;

// --- the changes of this pass, for those who keep up -------------------------------------------------------

comm_socket_v4_packet changes;  // their entries
std::size_t changes_begin = 0;  // where these begin in the packet's bytes
std::uint64_t changes_from = 1; // the first number that may be in it
bool changes_are_whole = false; // it holds every change from there on

void begin_changes() {
    comm_socket_v4_packet_begin_writing(&changes, 0, "change", nullptr);
    changes_begin = changes.bytes.size();
    changes_from = picture_version + 1;
    changes_are_whole = true;
}

void note_change(const picture_event& event) {
    if (watchers.empty() || !changes_are_whole)
        return;
    switch (event.what) {
    case picture_change::resized: // the new places have to be told, too
        changes_are_whole = false;
        return;
    case picture_change::link:
    case picture_change::backend:
        write_told_state(&changes);
        break;
    case picture_change::input_named:
    case picture_change::input_property:
        write_told_place(&changes, event.place);
        break;
    default:
        write_told_place(&changes, input_count + event.place);
    }
    changes_are_whole = changes.bytes.size() <= pushed_packet_bytes;
}

void begin_change_packet(comm_socket_v4_packet* packet, std::uint64_t from, std::uint64_t to) {
    begin_told_packet(packet, "change");
    write_told_number(packet, "from", from);
    write_told_number(packet, "to", to);
}

// --- telling -----------------------------------------------------------------------------------------------

bool reads(const watcher& one) {
    return comm_socket_v4_unread_by(vrdx_comm_server, one.client) == 0;
}

void push(const watcher& one, const comm_socket_v4_packet& packet) {
    comm_socket_v4_push(vrdx_comm_server, one.client, packet.bytes);
}

void tell_those_who_keep_up() {
    if (!changes_are_whole || picture_version < changes_from)
        return;
    comm_socket_v4_packet packet;
    begin_change_packet(&packet, changes_from, picture_version);
    comm_socket_v4_packet_append_items(&packet, changes, changes_begin);
    comm_socket_v4_packet_write_end(&packet);
    for (watcher& one : watchers) {
        if (one.told + 1 != changes_from || one.telling != 0 || !reads(one))
            continue;
        push(one, packet);
        one.told = picture_version;
    }
}

// One packet of what has changed since its number.
void tell_newest_state(watcher& one) {
    // After a change of sizes the places have other numbers, so telling begins anew. After a change of the
    // link it must not: a link that goes up and down would keep a slow watcher from ever getting to the end.
    if (one.telling == 0 || one.sized_at != picture_resized) {
        one.telling = picture_version;
        one.sized_at = picture_resized;
        one.next_place = 0;
    }
    comm_socket_v4_packet packet;
    begin_change_packet(&packet, one.told + 1, one.telling);
    if (one.next_place == 0 && picture_state_changed > one.told)
        write_told_state(&packet);
    bool full = false;
    for (; one.next_place < told_places() && !full; ++one.next_place) {
        if (told_place_changed(one.next_place) <= one.told)
            continue;
        full = packet.bytes.size() + told_place_bytes(one.next_place) > pushed_packet_bytes;
        if (full)
            break;
        write_told_place(&packet, one.next_place);
    }
    if (full) {
        comm_socket_v4_packet_write_nv_pair(&packet, "more", "1");
    } else {
        one.told = one.telling;
        one.telling = 0;
    }
    comm_socket_v4_packet_write_end(&packet);
    push(one, packet);
}

void tell_those_behind() {
    const std::uint64_t enough = monotonic_us() + catching_up_us;
    for (std::size_t i = 0; i < watchers.size(); ++i) {
        watcher& one = watchers[(first_to_catch_up + i) % watchers.size()];
        while ((one.told < picture_version || one.telling != 0) && reads(one)) {
            tell_newest_state(one);
            if (monotonic_us() < enough)
                continue;
            first_to_catch_up = (first_to_catch_up + i + 1) % watchers.size();
            return;
        }
    }
}

// The takes after number `told` that are kept, as many as fit; *told is then the last of them.
void write_takes_after(comm_socket_v4_packet* packet, std::uint64_t* told) {
    constexpr std::size_t most_take_bytes = 2048; // of one group
    begin_told_packet(packet, "takes");
    const std::uint64_t oldest = take_record.front().record;
    if (*told + 1 < oldest) {
        write_told_number(packet, "lost", oldest - *told - 1);
        *told = oldest - 1;
    }
    while (*told < last_take_record && packet->bytes.size() + most_take_bytes <= pushed_packet_bytes)
        write_told_take(packet, take_record[static_cast<std::size_t>(++*told - oldest)]);
    comm_socket_v4_packet_write_end(packet);
}

// Most watchers wait for the same take: its packet is written once.
void tell_takes() {
    comm_socket_v4_packet packet;
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    for (watcher& one : watchers) {
        while (one.takes_told < last_take_record && reads(one)) {
            if (to == 0 || from != one.takes_told) {
                from = to = one.takes_told;
                write_takes_after(&packet, &to);
            }
            push(one, packet);
            one.takes_told = to;
        }
    }
}

void write_position(comm_socket_v4_packet* packet) {
    write_told_number(packet, "sequence", picture_version);
    write_told_number(packet, "last take", last_take_record);
    comm_socket_v4_packet_write_end(packet);
}

void give_signs_of_life() {
    const std::uint64_t now = monotonic_us();
    if (now < next_sign_of_life)
        return;
    next_sign_of_life = now + sign_of_life_us;
    comm_socket_v4_packet packet;
    begin_told_packet(&packet, "alive");
    write_position(&packet);
    for (const watcher& one : watchers)
        if (reads(one))
            push(one, packet);
}

} // namespace

bool answer_watch(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client) {
    postpone_auto_shutdown();
    if (comm_socket_v4_packet_get_argc(pkt) > 0 || comm_socket_v4_packet_nv_entries(pkt) > 0)
        return write_refusal(respkt, pkt, "watch has no arguments and no entries");
    auto one = std::find_if(watchers.begin(), watchers.end(),
                            [client](const watcher& other) { return other.client == client.connection; });
    if (one == watchers.end()) {
        if (watchers.size() == most_watchers)
            return write_refusal(respkt, pkt, "too many watchers");
        if (watchers.empty())
            begin_changes();
        one = watchers.emplace(one);
        comm_socket_v4_bound_send_buffer(vrdx_comm_server, client.connection, kernel_buffer_bytes);
    }
    *one = {};
    one->client = client.connection;
    one->takes_told = last_take_record;
    begin_told_packet(respkt, "watch");
    write_position(respkt);
    return true;
}

void forget_watcher(std::uint64_t connection) {
    std::erase_if(watchers, [connection](const watcher& one) { return one.client == connection; });
}

void watch_for_watchers() {
    watch_picture(note_change);
}

void serve_watchers() {
    if (watchers.empty())
        return;
    postpone_auto_shutdown();
    tell_those_who_keep_up();
    tell_those_behind();
    tell_takes();
    give_signs_of_life();
    begin_changes();
}
