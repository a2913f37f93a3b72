#include "commands.h"

#include "text.h"
#include "vrdx.h"

#include <string_view>

namespace {

// What clients can ask of this driver, beside what the framework answers for every driver. A command that
// leads to messages for the backend can have to wait for its turn.
constexpr struct {
    std::string_view command;
    bool (*answer)(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
    bool adds_messages;
} commands[] = {
    {"route", answer_route, true}, {"router set", answer_router_set, true}, {"status", answer_status, false},
    {"take", answer_take, true},   {"describe", answer_describe, false},    {"watch", answer_watch, false},
};

constexpr std::size_t longest_echo = 64; // of an `id` that is repeated in an error

bool adds_messages(std::string_view command) {
    for (const auto& known : commands)
        if (known.command == command)
            return known.adds_messages;
    return command == "set"; // the framework's
}

} // namespace

requester requester_of(const comm_socket_v4_client* client) {
    if (client == nullptr)
        return {};
    const comm_socket_v4_peer& peer = comm_socket_v4_client_peer(client);
    return {peer.id, peer.user, peer.pid};
}

void postpone_auto_shutdown() {
    mono_auto_shutdown = monotonic_us() + auto_shutdown_delay;
}

bool write_refusal(comm_socket_v4_packet* respkt, const comm_socket_v4_packet* pkt, const std::string& what) {
    respkt->result = 1;
    comm_socket_v4_packet_begin_writing(respkt, 0, "error", what.c_str());
    comm_socket_v4_packet_write_argv_end(respkt);
    for_each_entry(pkt, [respkt](std::string_view name, std::string_view value) {
        if (name == "id")
            comm_socket_v4_packet_write_nv_pair(respkt, name, text_head(value, longest_echo));
    });
    comm_socket_v4_packet_write_end(respkt);
    return true;
}

void requester_left(std::uint64_t connection) {
    requester_gone(connection);
    forget_watcher(connection);
}

int my_vrdx_custom_packet(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, unsigned char* flags,
                          comm_socket_v4_client* client) {
    const std::string_view command = comm_socket_v4_packet_get_command(pkt);
    for (const auto& known : commands) {
        if (known.command != command)
            continue;
        if (!known.answer(pkt, respkt, requester_of(client)))
            *flags |= comm_reply_comes_later;
        return 1;
    }
    return 0;
}

bool packet_must_wait(const char* command, std::size_t bytes, const comm_socket_v4_client* client) {
    // Without a backend a take is refused at once, and adds nothing: its client need not wait for the answer.
    if (!commands_reach_backend && std::string_view(command) == "take")
        return false;
    return adds_messages(command) && requester_must_wait(requester_of(client), bytes);
}
