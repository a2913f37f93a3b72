#include "comm_socket_v4_internal.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "socket_address.h"
#include "vrdx_internal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned socket_mode = 0660;
constexpr int listen_backlog = 256;
constexpr int longest_farewell_ms = 500;

// Gives clients that are reading a moment to read what was already answered.
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

// 0 when a driver serves the socket, else the errno that says why not. A driver that is ending, or the child
// that a killed one had just forked, still accepts connections for a moment, and drops them then.
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
        if (comm_socket_v4_open_event_set(server.get()))
            return server.release();
    }
    std::fprintf(stderr, "Cannot serve socket %s: %s\n", path.c_str(), std::strerror(errno));
    comm_socket_v4_remove_path(server.get());
    if (server->listen_fd >= 0)
        close(server->listen_fd);
    return nullptr;
}

void comm_socket_v4_reopen_server(comm_socket_v4* server) {
    if (server != nullptr && !comm_socket_v4_open_event_set(server))
        std::fprintf(stderr, "Cannot make the event set: %s\n", std::strerror(errno));
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
