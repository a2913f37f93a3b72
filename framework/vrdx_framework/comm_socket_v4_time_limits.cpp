#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"

#include <algorithm>
#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace {

void watch_deadline(comm_socket_v4* server, std::uint64_t* deadline, bool running, std::uint64_t period) {
    if (!running) {
        *deadline = 0;
        return;
    }
    if (*deadline == 0)
        *deadline = monotonic_us() + period;
    server->limits_check = std::min(server->limits_check, *deadline);
}

// How many bytes the client's socket holds for it, as the kernel counts.
int bytes_in_kernel(const comm_socket_v4_client& client) {
    int bytes = 0;
    return ioctl(client.fd, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// A client that has exceeded a time limit; null when there is none. Clients in the ready list are left out:
// they wait for us, not we for them.
const char* exceeded_time_limit(const comm_socket_v4_client& client, std::uint64_t now) {
    if (client.queued)
        return nullptr;
    if (client.incomplete_deadline != 0 && client.incomplete_deadline <= now)
        return "its packet stays incomplete";
    if (client.unread_deadline != 0 && client.unread_deadline <= now)
        return "it does not read its replies";
    return nullptr;
}

// Looks first at what the client has sent or read since: this process may have been stopped for a while, and
// the kernel reports late that a full socket has a little room again.
void look_once_more(comm_socket_v4* server, comm_socket_v4_client* client, std::uint64_t now) {
    comm_socket_v4_serve_client(server, client);
    if (client->unread_deadline == 0 || client->unread_deadline > now)
        return;
    const int held = bytes_in_kernel(*client);
    if (held < client->unread_in_kernel) {
        client->unread_deadline = now + comm_unread_replies_us;
        client->unread_in_kernel = held;
    }
}

} // namespace

// The clock of an incomplete packet runs from its first byte to its last, that of unread replies from the
// last byte the client read.
void comm_socket_v4_watch_time_limits(comm_socket_v4* server, comm_socket_v4_client* client,
                                      bool incomplete) {
    watch_deadline(server, &client->incomplete_deadline, incomplete, comm_incomplete_packet_us);
    const bool unread = comm_socket_v4_unsent_bytes(*client) > 0;
    if (unread && client->unread_deadline == 0)
        client->unread_in_kernel = bytes_in_kernel(*client);
    watch_deadline(server, &client->unread_deadline, unread, comm_unread_replies_us);
}

void comm_socket_v4_enforce_time_limits(comm_socket_v4* server) {
    const std::uint64_t now = monotonic_us();
    if (now < server->limits_check)
        return;
    server->limits_check = std::numeric_limits<std::uint64_t>::max();
    for (std::size_t i = server->clients.size(); i-- > 0;) {
        comm_socket_v4_client* client = server->clients[i].get();
        if (exceeded_time_limit(*client, now) != nullptr)
            look_once_more(server, client, now);
        const char* reason = client->closing ? nullptr : exceeded_time_limit(*client, now);
        if (reason != nullptr)
            comm_socket_v4_cut_client(client, reason);
        if (client->closing) {
            comm_socket_v4_drop_client(server, client);
            continue;
        }
        for (const std::uint64_t deadline : {client->incomplete_deadline, client->unread_deadline})
            if (deadline != 0)
                server->limits_check = std::min(server->limits_check, deadline);
    }
}
