#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "vrdx.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

// Out of descriptors: the connections stay in the backlog, and asking again at once would only spin.
void pause_accepting(comm_socket_v4* server) {
    if (!server->accept_trouble_told)
        std::fprintf(stderr, "Cannot accept clients for now: %s\n", std::strerror(errno));
    server->accept_trouble_told = true;
    server->accept_ready = false;
    server->accept_resume = monotonic_us() + comm_accept_pause_us;
    comm_socket_v4_watch_listener(server, EPOLL_CTL_MOD, 0);
}

void resume_accepting_when_due(comm_socket_v4* server) {
    if (server->accept_resume == 0 || monotonic_us() < server->accept_resume)
        return;
    server->accept_resume = 0;
    comm_socket_v4_watch_listener(server, EPOLL_CTL_MOD, EPOLLIN);
}

comm_socket_v4_peer peer_of(int fd) {
    static std::uint64_t last_id = 0;
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        peer = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
    return {++last_id, peer.uid, peer.gid, peer.pid};
}

std::string describe_peer(const comm_socket_v4_peer& peer) {
    if (peer.user == static_cast<uid_t>(-1))
        return "user unknown";
    return vrdx_global_access_cache_peer(vrdx_acc_cache, peer.user, peer.group) + ", pid " +
           std::to_string(peer.pid);
}

std::size_t places_of(const comm_socket_v4* server, uid_t user) {
    const auto found = server->places_of.find(user);
    return found != server->places_of.end() ? found->second : 0;
}

// root and the user that runs the driver get in when all other places are in use.
bool may_have_kept_places(uid_t user) {
    return user == 0 || user == geteuid();
}

bool all_places_in_use(const comm_socket_v4* server, uid_t user) {
    const std::size_t kept = server->most_clients * comm_parts_kept / comm_parts_of_places;
    return server->clients.size() + (may_have_kept_places(user) ? 0 : kept) >= server->most_clients;
}

bool user_share_in_use(const comm_socket_v4* server, uid_t user) {
    return places_of(server, user) >= server->most_clients * comm_parts_for_one_user / comm_parts_of_places;
}

// At most one line in a while: a client that connects again and again must not fill the log.
void trace_refusal(comm_refusals* refusals, std::size_t connected, const char* whose,
                   const std::string& told_as) {
    const std::uint64_t now = monotonic_us();
    if (now < refusals->next_line) {
        ++refusals->not_told;
        return;
    }
    refusals->next_line = now + comm_refusals_us;
    const std::size_t not_told = std::exchange(refusals->not_told, 0);
    std::fprintf(stderr, "Client refused: %zu%s are connected (%s)", connected, whose, told_as.c_str());
    if (not_told > 0)
        std::fprintf(stderr, ", as were %zu before it", not_told);
    std::fputc('\n', stderr);
}

void refuse_client(comm_socket_v4* server, int fd, const char* what) {
    comm_socket_v4_write_error(&server->response, what);
    const std::string& bytes = server->response.bytes;
    // Written once, without waiting: a new socket has room for this.
    [[maybe_unused]] const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    close(fd);
}

void admit_client(comm_socket_v4* server, int fd, const comm_socket_v4_peer& peer) {
    auto client = std::make_unique<comm_socket_v4_client>();
    client->fd = fd;
    client->peer = peer;
    client->told_as = describe_peer(peer);
    epoll_event event{};
    event.events = client->interest = EPOLLIN;
    event.data.ptr = client.get();
    if (epoll_ctl(server->epoll_fd, EPOLL_CTL_ADD, fd, &event) != 0) {
        std::fprintf(stderr, "Client refused: %s (%s)\n", std::strerror(errno), client->told_as.c_str());
        close(fd);
        return;
    }
    std::fprintf(stderr, "Client connected: %s\n", client->told_as.c_str());
    client->place = server->clients.size();
    server->clients_by_id.emplace(client->peer.id, client.get());
    server->clients.push_back(std::move(client));
    ++server->places_of[peer.user];
}

// Lets the new connection in when there is a place for its user.
void receive_client(comm_socket_v4* server, int fd) {
    const comm_socket_v4_peer peer = peer_of(fd);
    if (all_places_in_use(server, peer.user)) {
        refuse_client(server, fd, "too many clients");
        trace_refusal(&server->for_all_places, server->clients.size(), "", describe_peer(peer));
    } else if (user_share_in_use(server, peer.user)) {
        refuse_client(server, fd, "too many clients of this user");
        trace_refusal(&server->for_user_share, places_of(server, peer.user), " of this user",
                      describe_peer(peer));
    } else {
        admit_client(server, fd, peer);
    }
}

} // namespace

const comm_socket_v4_peer& comm_socket_v4_client_peer(const comm_socket_v4_client* client) {
    return client->peer;
}

void comm_socket_v4_leave_place(comm_socket_v4* server, uid_t user) {
    const auto places = server->places_of.find(user);
    if (--places->second == 0)
        server->places_of.erase(places);
}

int comm_socket_v4_accept_clients(comm_socket_v4* server) {
    resume_accepting_when_due(server);
    int accepted = 0;
    while (server->accept_ready && accepted < comm_accepts_per_turn) {
        const int fd = accept4(server->listen_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            if (errno != EAGAIN)
                pause_accepting(server);
            server->accept_ready = false;
            break;
        }
        ++accepted;
        server->accept_trouble_told = false;
        receive_client(server, fd);
    }
    return accepted;
}
