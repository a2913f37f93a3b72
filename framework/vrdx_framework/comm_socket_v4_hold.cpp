#include "comm_socket_v4_internal.h"

#include "vrdx.h"

bool comm_socket_v4_must_wait(const comm_socket_v4_client& client) {
    if (vrdx_on_hold == nullptr)
        return false;
    comm_told_command command; // not initialised: this runs for every packet
    const auto* data = reinterpret_cast<const unsigned char*>(client.input.data()) + client.handled;
    std::size_t bytes = 0;
    return comm_socket_v4_packet_peek_command(data, client.input.size() - client.handled, &command, &bytes) &&
           vrdx_on_hold(command.data(), bytes, &client);
}

void comm_socket_v4_hold_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (client->held)
        return;
    client->held = true;
    server->held.push_back(client);
}

void comm_socket_v4_forget_held(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (client->held)
        std::erase(server->held, client);
    client->held = false;
}

void comm_socket_v4_release_held(comm_socket_v4* server) {
    std::erase_if(server->held, [server](comm_socket_v4_client* client) {
        if (comm_socket_v4_must_wait(*client))
            return false;
        client->held = false;
        comm_socket_v4_queue_client(server, client);
        return true;
    });
}
