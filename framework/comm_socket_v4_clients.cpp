#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <linux/sockios.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t kept_capacity = 65536; // buffers grown beyond this for one packet are given back

void cut_client(comm_socket_v4_client* client, const char* reason) {
    std::fprintf(stderr, "Client cut: %s (%s)\n", reason, client->peer.c_str());
    client->closing = true;
}

comm_packet_frame next_frame(const comm_socket_v4_client& client, std::size_t* size) {
    return comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(client.input.data()) +
                                           client.handled,
                                       client.input.size() - client.handled, size);
}

void discard_handled_input(comm_socket_v4_client* client) {
    client->input.erase(0, client->handled);
    client->handled = 0;
    if (client->input.empty() && client->input.capacity() > kept_capacity)
        client->input.shrink_to_fit();
}

// One bounded read; true when the socket may hold more.
bool read_client(comm_socket_v4_client* client) {
    // Plain recv: descriptors that a peer sends along are closed by the kernel instead of piling up here.
    static char chunk[comm_read_bytes_per_turn];
    const ssize_t count = recv(client->fd, chunk, sizeof(chunk), MSG_DONTWAIT);
    if (count > 0) {
        client->input.append(chunk, static_cast<std::size_t>(count));
        return static_cast<std::size_t>(count) == sizeof(chunk);
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOMEM))
        return errno == EINTR;
    client->input_ended = true;
    if (count < 0)
        client->deaf = true;
    return false;
}

// Writes what the socket takes at once; the count of bytes. A reader that is gone makes the client deaf.
std::size_t write_to_client(comm_socket_v4_client* client, std::string_view bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            send(client->fd, bytes.data() + written, bytes.size() - written, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            client->deaf = errno != EAGAIN && errno != ENOBUFS && errno != ENOMEM;
            break;
        }
        written += static_cast<std::size_t>(count);
        client->unread_deadline = 0;
    }
    return written;
}

std::size_t unsent_bytes(const comm_socket_v4_client& client) {
    return client.output.size() - client.sent;
}

// Enough replies wait for this client: its further requests wait, too, until it has read some.
bool is_paused(const comm_socket_v4_client& client) {
    return unsent_bytes(client) > comm_pause_unsent_bytes;
}

void send_reply(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (server->response.too_large)
        comm_socket_v4_write_error(&server->response, "reply too large");
    if (client->deaf)
        return;
    std::size_t taken = 0;
    if (unsent_bytes(*client) == 0)
        taken = write_to_client(client, server->response.bytes);
    if (!client->deaf)
        client->output.append(server->response.bytes, taken);
}

enum class packets_left {
    none,  // nothing whole is left
    some,  // this turn's share is used up
    paused // the client has to read first
};

// Handles the whole packets received, up to one turn's share.
packets_left handle_packets(comm_socket_v4* server, comm_socket_v4_client* client, int* work) {
    std::size_t size = 0;
    for (int handled = 0;; ++handled) {
        switch (next_frame(*client, &size)) {
        case comm_packet_frame::incomplete:
            discard_handled_input(client);
            return packets_left::none;
        case comm_packet_frame::invalid:
            cut_client(client, "what it sent is no packet");
            return packets_left::none;
        case comm_packet_frame::complete:
            break;
        }
        if (is_paused(*client))
            return packets_left::paused;
        if (handled == comm_packets_per_client_turn)
            return packets_left::some;
        const auto* packet = reinterpret_cast<const unsigned char*>(client->input.data()) + client->handled;
        if (!comm_socket_v4_packet_decode(&server->request, packet, size)) {
            cut_client(client, "malformed packet");
            return packets_left::none;
        }
        client->handled += size;
        client->incomplete_deadline = 0; // the next packet's clock is its own
        ++*work;
        comm_socket_v4_answer(server, client);
        send_reply(server, client);
    }
}

void watch_deadline(comm_socket_v4* server, std::uint64_t* deadline, bool running, std::uint64_t period) {
    if (!running) {
        *deadline = 0;
        return;
    }
    if (*deadline == 0)
        *deadline = monotonic_us() + period;
    server->limits_check = std::min(server->limits_check, *deadline);
}

// What the client's socket holds for it, as the kernel counts.
int bytes_in_kernel(const comm_socket_v4_client& client) {
    int bytes = 0;
    return ioctl(client.fd, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// The clock of an incomplete packet runs from its first byte to its last, that of unread replies from the
// last byte the client took.
void watch_time_limits(comm_socket_v4* server, comm_socket_v4_client* client, packets_left left) {
    const bool incomplete = left == packets_left::none && client->handled < client->input.size();
    watch_deadline(server, &client->incomplete_deadline, incomplete, comm_incomplete_packet_us);
    const bool unread = unsent_bytes(*client) > 0;
    if (unread && client->unread_deadline == 0)
        client->unread_in_kernel = bytes_in_kernel(*client);
    watch_deadline(server, &client->unread_deadline, unread, comm_unread_replies_us);
}

// One client's share of a turn; the amount of work done.
int serve_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    int work = 0;
    std::size_t size = 0;
    bool more_to_read = false;
    comm_socket_v4_flush_client(client);
    // What is already whole is handled before more is read, so that a flood fills the peer's buffers, not
    // ours.
    if (!client->input_ended && next_frame(*client, &size) == comm_packet_frame::incomplete) {
        const std::size_t held = client->input.size();
        more_to_read = read_client(client);
        work += client->input.size() > held || client->input_ended ? 1 : 0;
    }
    const packets_left left = handle_packets(server, client, &work);
    if (client->closing)
        return work;
    watch_time_limits(server, client, left);
    if (client->input_ended && left == packets_left::none && unsent_bytes(*client) == 0)
        client->closing = true;
    if (left == packets_left::some || (left == packets_left::none && more_to_read))
        comm_socket_v4_queue_client(server, client);
    comm_socket_v4_update_interest(server, client);
    return work;
}

// Whose time is up; null for nobody. A client that stands in line waits for us, not we for it.
const char* exceeded_time_limit(const comm_socket_v4_client& client, std::uint64_t now) {
    if (client.queued)
        return nullptr;
    if (client.incomplete_deadline != 0 && client.incomplete_deadline <= now)
        return "its packet stays incomplete";
    if (client.unread_deadline != 0 && client.unread_deadline <= now)
        return "it does not read its replies";
    return nullptr;
}

// What a client sent or took while nobody looked counts: we may have stood still ourselves, and the kernel
// tells late of a little room in a full socket.
void look_once_more(comm_socket_v4* server, comm_socket_v4_client* client, std::uint64_t now) {
    serve_client(server, client);
    if (client->unread_deadline == 0 || client->unread_deadline > now)
        return;
    const int held = bytes_in_kernel(*client);
    if (held < client->unread_in_kernel) {
        client->unread_deadline = now + comm_unread_replies_us;
        client->unread_in_kernel = held;
    }
}

void enforce_time_limits(comm_socket_v4* server) {
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
            cut_client(client, reason);
        if (client->closing) {
            comm_socket_v4_drop_client(server, client);
            continue;
        }
        for (const std::uint64_t deadline : {client->incomplete_deadline, client->unread_deadline})
            if (deadline != 0)
                server->limits_check = std::min(server->limits_check, deadline);
    }
}

} // namespace

void comm_socket_v4_queue_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (client->queued)
        return;
    client->queued = true;
    server->ready.push_back(client);
}

void comm_socket_v4_update_interest(comm_socket_v4* server, comm_socket_v4_client* client) {
    std::uint32_t wanted = 0;
    if (!client->input_ended && !is_paused(*client))
        wanted |= EPOLLIN;
    if (unsent_bytes(*client) > 0)
        wanted |= EPOLLOUT;
    if (wanted == client->interest)
        return;
    epoll_event event{};
    event.events = client->interest = wanted;
    event.data.ptr = client;
    epoll_ctl(server->epoll_fd, EPOLL_CTL_MOD, client->fd, &event);
}

void comm_socket_v4_flush_client(comm_socket_v4_client* client) {
    if (client->output.empty())
        return;
    client->sent += write_to_client(client, std::string_view(client->output).substr(client->sent));
    if (!client->deaf && client->sent < client->output.size() && client->sent < kept_capacity)
        return; // what is sent is given back in larger pieces
    client->output.erase(0, client->deaf ? client->output.size() : client->sent);
    client->sent = 0;
    if (client->output.empty() && client->output.capacity() > kept_capacity)
        client->output.shrink_to_fit();
}

void comm_socket_v4_drop_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (client->queued)
        std::erase(server->ready, client);
    // Closing alone is not enough: a backend just forked shares the open socket until it executes its
    // program, and the event set would go on telling of a client that is no more.
    epoll_ctl(server->epoll_fd, EPOLL_CTL_DEL, client->fd, nullptr);
    close(client->fd);
    const std::size_t place = client->place;
    if (place + 1 != server->clients.size()) {
        std::swap(server->clients[place], server->clients.back());
        server->clients[place]->place = place;
    }
    server->clients.pop_back();
}

int comm_socket_v4_serve_clients(comm_socket_v4* server) {
    constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
    if (server->ready.empty() && server->limits_check == never)
        return 0;
    int work = 0;
    const std::uint64_t turn_end = monotonic_us() + comm_turn_us;
    // Each ready client gets its share once; who has more to do stands at the end of the line for the next
    // turn.
    for (std::size_t left = server->ready.size(); left > 0; --left) {
        comm_socket_v4_client* client = server->ready.front();
        server->ready.pop_front();
        client->queued = false;
        work += serve_client(server, client);
        if (client->closing)
            comm_socket_v4_drop_client(server, client);
        if (monotonic_us() >= turn_end)
            break;
    }
    if (server->limits_check != never)
        enforce_time_limits(server);
    return work;
}
