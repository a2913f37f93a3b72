#include "comm_socket_v4_internal.h"

#include "vrdx.h"

#include <cstring>

namespace {

void answer_ping(comm_socket_v4_packet*, comm_socket_v4_packet*, comm_socket_v4_client*) {}

void answer_exit(comm_socket_v4_packet*, comm_socket_v4_packet*, comm_socket_v4_client*) {
    vrdx_should_exit = true;
}

void answer_set(comm_socket_v4_packet* request, comm_socket_v4_packet*, comm_socket_v4_client* client) {
    if (vrdx_on_set == nullptr)
        return;
    for (unsigned i = 0; i < comm_socket_v4_packet_nv_entries(request); ++i) {
        const comm_socket_v4_packet_nv_pair* entry = comm_socket_v4_packet_get_nv_entry(request, i);
        const char* name = comm_socket_v4_packet_get_nv_pair_name(request, entry);
        const char* value = comm_socket_v4_packet_get_nv_pair_value_text(request, entry);
        if (name != nullptr && value != nullptr)
            vrdx_on_set(client, name, value);
    }
}

void answer_report(comm_socket_v4_packet* request, comm_socket_v4_packet* response, comm_socket_v4_client*) {
    if (vrdx_on_report != nullptr)
        vrdx_on_report(comm_socket_v4_packet_get_argv(request, 0), response);
}

// The framework's own commands; the reply carries the same command word.
const struct {
    const char* command;
    void (*answer)(comm_socket_v4_packet* request, comm_socket_v4_packet* response,
                   comm_socket_v4_client* client);
} own_commands[] = {
    {"ping", answer_ping},
    {"exit", answer_exit},
    {"set", answer_set},
    {"report", answer_report},
};

} // namespace

void comm_socket_v4_write_error(comm_socket_v4_packet* response, const std::string& what) {
    response->result = 1;
    comm_socket_v4_packet_begin_writing(response, 0, "error", what.c_str());
    comm_socket_v4_packet_write_argv_end(response);
    comm_socket_v4_packet_write_end(response);
}

bool comm_socket_v4_answer(comm_socket_v4* server, comm_socket_v4_client* client) {
    comm_socket_v4_packet* request = &server->request;
    comm_socket_v4_packet* response = &server->response;
    const char* command = comm_socket_v4_packet_get_command(request);
    response->result = 0;
    for (const auto& own : own_commands) {
        if (std::strcmp(own.command, command) != 0)
            continue;
        comm_socket_v4_packet_begin_writing(response, 0, command, nullptr);
        comm_socket_v4_packet_write_argv_end(response);
        own.answer(request, response, client);
        comm_socket_v4_packet_write_end(response);
        return true;
    }
    unsigned char flags = 0;
    if (on_vrdx_custom_packet != nullptr && on_vrdx_custom_packet(request, response, &flags, client) != 0)
        return (flags & comm_reply_comes_later) == 0;
    // A very long command word is not repeated in full.
    comm_socket_v4_write_error(response, "unknown command '" + std::string(command).substr(0, 80) + "'");
    return true;
}
