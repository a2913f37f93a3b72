#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "vrdx.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <malloc.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t kept_capacity = 65536; // buffers grown beyond this for one packet are given back

comm_packet_frame next_frame(const comm_socket_v4_client& client, std::size_t* size) {
    return comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(client.input.data()) +
                                           client.handled,
                                       client.input.size() - client.handled, size);
}

// Buffers of clients that come and go leave holes in the heap, and one small block at its end keeps them all.
std::size_t freed_bytes = 0; // since the heap was last tidied

void note_freed(const std::string& buffer) {
    freed_bytes += buffer.capacity();
}

void give_back_when_empty(std::string* buffer) {
    if (!buffer->empty() || buffer->capacity() <= kept_capacity)
        return;
    note_freed(*buffer);
    buffer->shrink_to_fit();
}

void tidy_heap() {
    if (freed_bytes < comm_freed_buffer_bytes)
        return;
    freed_bytes = 0;
    malloc_trim(0);
}

void discard_handled_input(comm_socket_v4_client* client) {
    client->input.erase(0, client->handled);
    client->handled = 0;
    give_back_when_empty(&client->input);
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

// Writes what the socket accepts at once; returns the number of bytes. A client that has stopped reading
// becomes `deaf`.
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

// True when so many replies wait for this client that its next requests have to wait, until it has read some.
bool is_paused(const comm_socket_v4_client& client) {
    return comm_socket_v4_unsent_bytes(client) > comm_pause_unsent_bytes;
}

void send_reply(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (server->response.too_large)
        comm_socket_v4_write_error(&server->response, "reply too large");
    comm_socket_v4_send_bytes(client, server->response.bytes);
}

enum class packets_left {
    none,   // no complete packet is left
    some,   // this turn's share is used up
    paused, // the client has to read first
    held    // the driver does not want the next one yet
};

// Handles the whole packets received, up to one turn's share.
packets_left handle_packets(comm_socket_v4* server, comm_socket_v4_client* client, int* work) {
    std::size_t size = 0;
    for (int handled = 0;; ++handled) {
        switch (next_frame(*client, &size)) {
        case comm_packet_frame::incomplete:
            discard_handled_input(client);
            return comm_socket_v4_must_wait(*client) ? packets_left::held : packets_left::none;
        case comm_packet_frame::invalid:
            comm_socket_v4_cut_client(client, "what it sent is no packet");
            return packets_left::none;
        case comm_packet_frame::complete:
            break;
        }
        if (is_paused(*client))
            return packets_left::paused;
        if (handled == comm_packets_per_client_turn)
            return packets_left::some;
        if (comm_socket_v4_must_wait(*client))
            return packets_left::held;
        const auto* packet = reinterpret_cast<const unsigned char*>(client->input.data()) + client->handled;
        if (!comm_socket_v4_packet_decode(&server->request, packet, size)) {
            comm_socket_v4_cut_client(client, "malformed packet");
            return packets_left::none;
        }
        client->handled += size;
        client->incomplete_deadline = 0; // the next packet's clock is its own
        ++*work;
        if (comm_socket_v4_answer(server, client))
            send_reply(server, client);
        else
            ++client->replies_owed;
    }
}

} // namespace

void comm_socket_v4_send_bytes(comm_socket_v4_client* client, std::string_view bytes) {
    if (client->deaf)
        return;
    std::size_t written = 0;
    if (comm_socket_v4_unsent_bytes(*client) == 0)
        written = write_to_client(client, bytes);
    if (!client->deaf)
        client->output.append(bytes.substr(written));
}

std::size_t comm_socket_v4_unsent_bytes(const comm_socket_v4_client& client) {
    return client.output.size() - client.sent;
}

void comm_socket_v4_cut_client(comm_socket_v4_client* client, const char* reason) {
    std::fprintf(stderr, "Client cut: %s (%s)\n", reason, client->told_as.c_str());
    client->closing = true;
}

int comm_socket_v4_serve_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    int work = 0;
    std::size_t size = 0;
    bool more_to_read = false;
    packets_left left = packets_left::held;
    comm_socket_v4_flush_client(client);
    if (!client->held) {
        // Complete packets are handled before more is read, so that a flood fills the peer's buffers and not
        // ours. From a client that is held nothing is read.
        if (!client->input_ended && next_frame(*client, &size) == comm_packet_frame::incomplete &&
            !comm_socket_v4_must_wait(*client)) {
            const std::size_t before = client->input.size();
            more_to_read = read_client(client);
            work += client->input.size() > before || client->input_ended ? 1 : 0;
        }
        left = handle_packets(server, client, &work);
    }
    if (client->closing)
        return work;
    comm_socket_v4_watch_time_limits(server, client,
                                     left == packets_left::none && client->handled < client->input.size());
    if (client->input_ended && left == packets_left::none && comm_socket_v4_unsent_bytes(*client) == 0 &&
        (client->replies_owed == 0 || client->hung_up))
        client->closing = true;
    if (left == packets_left::some || (left == packets_left::none && more_to_read))
        comm_socket_v4_queue_client(server, client);
    if (left == packets_left::held)
        comm_socket_v4_hold_client(server, client);
    comm_socket_v4_update_interest(server, client);
    return work;
}

void comm_socket_v4_queue_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    if (client->queued)
        return;
    client->queued = true;
    server->ready.push_back(client);
}

void comm_socket_v4_update_interest(comm_socket_v4* server, comm_socket_v4_client* client) {
    std::uint32_t wanted = 0;
    if (!client->input_ended && !client->held && !is_paused(*client))
        wanted |= EPOLLIN;
    if (comm_socket_v4_unsent_bytes(*client) > 0)
        wanted |= EPOLLOUT;
    // epoll reports the end of a connection again and again, whatever events are asked for, and nothing can
    // be done about it while the client is held.
    const bool in_event_set = !client->held || !client->hung_up || wanted != 0;
    if (wanted == client->interest && in_event_set == client->in_event_set)
        return;
    epoll_event event{};
    event.events = client->interest = wanted;
    event.data.ptr = client;
    int operation = EPOLL_CTL_MOD;
    if (in_event_set != client->in_event_set)
        operation = in_event_set ? EPOLL_CTL_ADD : EPOLL_CTL_DEL;
    client->in_event_set = in_event_set;
    epoll_ctl(server->epoll_fd, operation, client->fd, &event);
}

void comm_socket_v4_flush_client(comm_socket_v4_client* client) {
    if (client->output.empty())
        return;
    client->sent += write_to_client(client, std::string_view(client->output).substr(client->sent));
    if (!client->deaf && client->sent < client->output.size() && client->sent < kept_capacity)
        return; // the memory of what was sent is given back in larger pieces
    client->output.erase(0, client->deaf ? client->output.size() : client->sent);
    client->sent = 0;
    give_back_when_empty(&client->output);
}

void comm_socket_v4_drop_client(comm_socket_v4* server, comm_socket_v4_client* client) {
    const comm_socket_v4_peer peer = client->peer;
    server->clients_by_id.erase(peer.id);
    if (client->queued)
        std::erase(server->ready, client);
    comm_socket_v4_forget_held(server, client);
    // Closing alone is not enough: a backend just forked shares the open socket until it executes its
    // program, and the event set would go on reporting a client that does not exist any more.
    if (client->in_event_set)
        epoll_ctl(server->epoll_fd, EPOLL_CTL_DEL, client->fd, nullptr);
    close(client->fd);
    note_freed(client->input);
    note_freed(client->output);
    const std::size_t place = client->place;
    if (place + 1 != server->clients.size()) {
        std::swap(server->clients[place], server->clients.back());
        server->clients[place]->place = place;
    }
    server->clients.pop_back();
    comm_socket_v4_leave_place(server, peer.user);
    if (vrdx_on_client_gone != nullptr)
        vrdx_on_client_gone(peer.id);
}

int comm_socket_v4_serve_clients(comm_socket_v4* server) {
    constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
    comm_socket_v4_release_held(server);
    int work = 0;
    // Each ready client gets its share once; a client with more to do goes to the end of the list for the
    // next turn. For a single client the clock is not read.
    const std::uint64_t turn_end = server->ready.size() > 1 ? monotonic_us() + comm_turn_us : never;
    for (std::size_t left = server->ready.size(); left > 0; --left) {
        comm_socket_v4_client* client = server->ready.front();
        server->ready.pop_front();
        client->queued = false;
        work += comm_socket_v4_serve_client(server, client);
        if (client->closing)
            comm_socket_v4_drop_client(server, client);
        if (left > 1 && monotonic_us() >= turn_end)
            break;
    }
    if (server->limits_check != never)
        comm_socket_v4_enforce_time_limits(server);
    tidy_heap();
    return work;
}
