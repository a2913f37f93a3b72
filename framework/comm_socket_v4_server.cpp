#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "socket_address.h"
#include "vrdx.h"
#include "vrdx_internal.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned socket_mode = 0660;
constexpr int listen_backlog = 256;
constexpr int longest_farewell_ms = 500;

void watch_listener(comm_socket_v4* server, int operation, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = nullptr; // clients carry their own pointer
    epoll_ctl(server->epoll_fd, operation, server->listen_fd, &event);
}

// Makes the event set, and lets go of the one before only when there is a new one.
bool open_event_set(comm_socket_v4* server) {
    const int epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_fd < 0)
        return false;
    if (server->epoll_fd >= 0)
        close(server->epoll_fd);
    server->epoll_fd = epoll_fd;
    watch_listener(server, EPOLL_CTL_ADD, EPOLLIN);
    for (const auto& client : server->clients) {
        epoll_event event{};
        event.events = client->interest;
        event.data.ptr = client.get();
        epoll_ctl(server->epoll_fd, EPOLL_CTL_ADD, client->fd, &event);
    }
    return true;
}

// Out of descriptors: the connections stay in the backlog, and asking again at once would only spin.
void pause_accepting(comm_socket_v4* server) {
    if (!server->accept_trouble_told)
        std::fprintf(stderr, "Cannot accept clients for now: %s\n", std::strerror(errno));
    server->accept_trouble_told = true;
    server->accept_ready = false;
    server->accept_resume = monotonic_us() + comm_accept_pause_us;
    watch_listener(server, EPOLL_CTL_MOD, 0);
}

void resume_accepting_when_due(comm_socket_v4* server) {
    if (server->accept_resume == 0 || monotonic_us() < server->accept_resume)
        return;
    server->accept_resume = 0;
    watch_listener(server, EPOLL_CTL_MOD, EPOLLIN);
}

std::string describe_peer(int fd) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return "user unknown";
    return "user " + vrdx_global_access_cache_user(vrdx_acc_cache, peer.uid) + ", group " +
           vrdx_global_access_cache_group(vrdx_acc_cache, peer.gid) + ", pid " + std::to_string(peer.pid);
}

void refuse_client(comm_socket_v4* server, int fd) {
    comm_socket_v4_write_error(&server->response, "too many clients");
    const std::string& bytes = server->response.bytes;
    // Best effort: a fresh socket has room for this, and there is nobody to wait for.
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    std::fprintf(stderr, "Client refused: %zu are connected (%s%s)\n", server->clients.size(),
                 describe_peer(fd).c_str(), sent < 0 ? ", not told" : "");
    close(fd);
}

void admit_client(comm_socket_v4* server, int fd) {
    auto client = std::make_unique<comm_socket_v4_client>();
    client->fd = fd;
    client->peer = describe_peer(fd);
    epoll_event event{};
    event.events = client->interest = EPOLLIN;
    event.data.ptr = client.get();
    if (epoll_ctl(server->epoll_fd, EPOLL_CTL_ADD, fd, &event) != 0) {
        std::fprintf(stderr, "Client refused: %s (%s)\n", std::strerror(errno), client->peer.c_str());
        close(fd);
        return;
    }
    std::fprintf(stderr, "Client connected: %s\n", client->peer.c_str());
    client->place = server->clients.size();
    server->clients.push_back(std::move(client));
}

// epoll_wait to the microsecond, also where the kernel or an emulator lacks the call for it.
int wait_for_events(int epoll_fd, epoll_event* events, int room, std::uint64_t timeout_us) {
    timespec timeout{};
    timeout.tv_sec = static_cast<time_t>(timeout_us / 1000000);
    timeout.tv_nsec = static_cast<long>(timeout_us % 1000000) * 1000;
    const int count = epoll_pwait2(epoll_fd, events, room, &timeout, nullptr);
    if (count >= 0 || (errno != ENOSYS && errno != EPERM))
        return count;
    pollfd set{epoll_fd, POLLIN, 0};
    return ppoll(&set, 1, &timeout, nullptr) < 0 ? -1 : epoll_wait(epoll_fd, events, room, 0);
}

// Asks for events, for at most `timeout_us`, and notes who has some.
int collect_events(comm_socket_v4* server, std::uint64_t timeout_us) {
    epoll_event events[64];
    const int count = wait_for_events(server->epoll_fd, events, 64, timeout_us);
    for (int i = 0; i < count; ++i) {
        if (events[i].data.ptr == nullptr)
            server->accept_ready = true;
        else
            comm_socket_v4_queue_client(server, static_cast<comm_socket_v4_client*>(events[i].data.ptr));
    }
    return count;
}

int accept_clients(comm_socket_v4* server) {
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
        if (server->clients.size() >= server->most_clients)
            refuse_client(server, fd);
        else
            admit_client(server, fd);
    }
    return accepted;
}

// Gives clients that are reading a moment to take what was already answered.
void deliver_last_replies(comm_socket_v4* server) {
    const std::uint64_t deadline = monotonic_us() + comm_last_replies_us;
    for (;;) {
        std::vector<pollfd> unfinished;
        for (const auto& client : server->clients) {
            comm_socket_v4_flush_client(client.get());
            if (client->sent < client->output.size())
                unfinished.push_back({client->fd, POLLOUT, 0});
        }
        const std::uint64_t now = monotonic_us();
        if (unfinished.empty() || now >= deadline)
            return;
        const timespec left{0, static_cast<long>(deadline - now) * 1000};
        if (ppoll(unfinished.data(), unfinished.size(), &left, nullptr) == 0)
            return;
    }
}

// Connects, and waits whether the connection stays. 0 when it does, `hung_up` when it does not, else errno.
int try_connection(const std::string& path, bool* hung_up) {
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return errno;
    const bool connected = connect_socket_path(probe, path) == 0;
    const int reason = connected || errno == EAGAIN ? 0 : errno; // a full backlog is a live driver, too
    pollfd connection{probe, POLLRDHUP, 0};
    *hung_up = connected && poll(&connection, 1, longest_farewell_ms) > 0;
    close(probe);
    return reason;
}

// 0 when somebody serves the socket, else why not. A driver that is ending, or the child that a killed one
// had just forked, still takes connections for a moment, and drops them then.
int ask_who_serves(const std::string& path) {
    bool hung_up = false;
    const int reason = try_connection(path, &hung_up);
    return hung_up ? try_connection(path, &hung_up) : reason;
}

} // namespace

bool comm_socket_v4_clear_stale_path(const std::string& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        if (errno == ENOENT)
            return true;
        std::fprintf(stderr, "Cannot look at socket path %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    if (!S_ISSOCK(found.st_mode)) {
        std::fprintf(stderr, "Socket path %s is taken by something that is no socket\n", path.c_str());
        return false;
    }
    const int reason = ask_who_serves(path);
    if (reason == 0) {
        std::fprintf(stderr, "Item is already served: a live driver answers on %s\n", path.c_str());
        return false;
    }
    if (reason == ENOENT)
        return true; // it has just gone
    if (reason != ECONNREFUSED) {
        std::fprintf(stderr, "Cannot ask who serves socket %s: %s\n", path.c_str(), std::strerror(reason));
        return false;
    }
    if (found.st_uid != geteuid()) {
        std::fprintf(stderr, "Socket path %s belongs to another user\n", path.c_str());
        return false;
    }
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        std::fprintf(stderr, "Cannot remove stale socket %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

comm_socket_v4* comm_socket_v4_create_server(const std::string& path) {
    if (!comm_socket_v4_clear_stale_path(path))
        return nullptr;
    auto server = std::make_unique<comm_socket_v4>();
    server->most_clients = vrdx_raise_descriptor_limit();
    server->path = path;
    server->listen_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const bool bound =
        server->listen_fd >= 0 && bind_socket_path(server->listen_fd, path, socket_mode, listen_backlog) == 0;
    struct stat made {};
    if (bound && lstat(path.c_str(), &made) == 0) {
        server->path_device = made.st_dev;
        server->path_inode = made.st_ino;
        if (open_event_set(server.get()))
            return server.release();
    }
    std::fprintf(stderr, "Cannot serve socket %s: %s\n", path.c_str(), std::strerror(errno));
    comm_socket_v4_remove_path(server.get());
    if (server->listen_fd >= 0)
        close(server->listen_fd);
    return nullptr;
}

void comm_socket_v4_reopen_server(comm_socket_v4* server) {
    if (server != nullptr && !open_event_set(server))
        std::fprintf(stderr, "Cannot make the event set: %s\n", std::strerror(errno));
}

int comm_socket_v4_accept_turn(comm_socket_v4* server) {
    if (!server->events_fresh)
        collect_events(server, 0);
    return accept_clients(server);
}

int comm_socket_v4_clients_turn(comm_socket_v4* server) {
    server->events_fresh = false;
    return comm_socket_v4_serve_clients(server);
}

void comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline) {
    vrdx_trace_flush(); // gathered while there is work, and never kept back while we wait
    if (server == nullptr)
        return;
    const std::uint64_t now = monotonic_us();
    const bool work_left = server->accept_ready || !server->ready.empty();
    const std::uint64_t timeout = work_left || deadline <= now ? 0 : deadline - now;
    int events = collect_events(server, timeout);
    // A signal ends the wait, and so does being stopped for a while: who asked meanwhile comes first.
    if (events < 0 && errno == EINTR)
        events = collect_events(server, 0);
    if (events > 0 || work_left) {
        accept_clients(server);
        comm_socket_v4_serve_clients(server);
    }
    server->events_fresh = events >= 0;
}

std::size_t comm_socket_v4_client_count(const comm_socket_v4* server) {
    return server->clients.size();
}

void comm_socket_v4_close_clients(comm_socket_v4* server) {
    if (server == nullptr)
        return;
    deliver_last_replies(server);
    while (!server->clients.empty())
        comm_socket_v4_drop_client(server, server->clients.back().get());
}

void comm_socket_v4_remove_path(comm_socket_v4* server) {
    struct stat found {};
    if (lstat(server->path.c_str(), &found) == 0 && found.st_dev == server->path_device &&
        found.st_ino == server->path_inode)
        unlink(server->path.c_str());
}

void comm_socket_v4_destroy_server(comm_socket_v4* server) {
    if (server == nullptr)
        return;
    comm_socket_v4_close_clients(server);
    comm_socket_v4_remove_path(server);
    close(server->epoll_fd);
    close(server->listen_fd);
    delete server;
}
