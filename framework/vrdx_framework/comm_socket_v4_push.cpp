#include "comm_socket_v4_internal.h"

#include <algorithm>
#include <sys/socket.h>

namespace {

comm_socket_v4_client* client_of(comm_socket_v4* server, std::uint64_t id) {
    if (server == nullptr)
        return nullptr;
    const auto found = server->clients_by_id.find(id);
    return found != server->clients_by_id.end() ? found->second : nullptr;
}

} // namespace

bool comm_socket_v4_push(comm_socket_v4* server, std::uint64_t id, std::string_view packet) {
    comm_socket_v4_client* client = client_of(server, id);
    if (client == nullptr || client->closing)
        return false;
    comm_socket_v4_send_bytes(client, packet);
    comm_socket_v4_watch_time_limits(server, client, client->incomplete_deadline != 0);
    comm_socket_v4_update_interest(server, client);
    return true;
}

void comm_socket_v4_send_late_reply(comm_socket_v4* server, std::uint64_t id, std::string_view packet) {
    if (!comm_socket_v4_push(server, id, packet))
        return;
    comm_socket_v4_client* client = client_of(server, id);
    if (client->replies_owed > 0)
        --client->replies_owed;
    comm_socket_v4_queue_client(server, client); // it may only have waited for this
}

std::size_t comm_socket_v4_unread_by(comm_socket_v4* server, std::uint64_t id) {
    const comm_socket_v4_client* client = client_of(server, id);
    return client != nullptr ? comm_socket_v4_unsent_bytes(*client) : 0;
}

void comm_socket_v4_bound_send_buffer(comm_socket_v4* server, std::uint64_t id, int bytes) {
    if (const comm_socket_v4_client* client = client_of(server, id))
        setsockopt(client->fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof(bytes));
}

std::size_t comm_socket_v4_client_count(const comm_socket_v4* server) {
    return server != nullptr ? server->clients.size() : 0;
}
