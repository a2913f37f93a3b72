// The handlers behind the table in commands.cpp, one source per command.
#pragma once

#include "client.h"
#include "vrdx_assert.h"

// Each reads `pkt` and writes a complete reply. False (answer_take alone): the reply comes later.
bool answer_route(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
bool answer_router_set(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
bool answer_status(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
bool answer_describe(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
bool answer_watch(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);
bool answer_take(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client);

// The client of this connection is gone: it is no watcher any more.
void forget_watcher(std::uint64_t connection);

// Writes an "error" reply that says what is wrong with a request, with the request's `id` if it has one.
bool write_refusal(comm_socket_v4_packet* respkt, const comm_socket_v4_packet* pkt, const std::string& what);

// Calls `use` for each entry that has a name and a value.
template<typename visit> void for_each_entry(const comm_socket_v4_packet* pkt, visit use) {
    for (unsigned i = 0; i < comm_socket_v4_packet_nv_entries(pkt); ++i) {
        const comm_socket_v4_packet_nv_pair* entry = comm_socket_v4_packet_get_nv_entry(pkt, i);
        const char* name = comm_socket_v4_packet_get_nv_pair_name(pkt, entry);
        const char* value = comm_socket_v4_packet_get_nv_pair_value_text(pkt, entry);
        if (name != nullptr && value != nullptr)
            use(name, value);
    }
}

// Who asks; null means the driver itself.
requester requester_of(const comm_socket_v4_client* client);

void postpone_auto_shutdown();

// An invariant of the packet handler. The message names the handler and shows the expression as it is
// written, so the expression is not passed on to another macro.
constexpr const char* packet_handler_name = "int my_vrdx_custom_packet(comm_socket_v4_packet*, "
                                            "comm_socket_v4_packet*, unsigned char*, comm_socket_v4_client*)";
#define packet_assert(expression)                                                                            \
    ((expression) ? static_cast<void>(0) : vrdx_assert_failed(#expression, __LINE__, packet_handler_name))
