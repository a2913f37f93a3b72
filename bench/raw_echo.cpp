// The floor under every round trip: a single-threaded epoll server on a Unix stream socket that answers each
// request of a fixed size with a reply of a fixed size, and knows nothing else.
//
//   vrdx_bench_echo SOCKET REQUEST_BYTES REPLY_BYTES [PROGRAM ARGUMENT...]
//
// On SIGUSR1 it forks, and the child executes PROGRAM: what a fork holds up in a loop that does nothing else.
#include "socket_address.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned socket_mode = 0600;
constexpr int backlog = 256;

struct echo_client {
    int fd = -1;
    std::size_t received = 0; // bytes of requests not answered yet
    std::size_t unsent = 0;   // bytes of replies
};

std::size_t request_bytes = 0;
std::string reply;
int epoll_fd = -1;
volatile std::sig_atomic_t fork_wanted = 0;

void on_fork_signal(int) {
    fork_wanted = 1;
}

void watch(int operation, int fd, std::uint32_t events, echo_client* client) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = client;
    epoll_ctl(epoll_fd, operation, fd, &event);
}

void accept_client(int listener) {
    const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0)
        watch(EPOLL_CTL_ADD, fd, EPOLLIN, new echo_client{fd});
}

void drop_client(echo_client* client) {
    close(client->fd);
    delete client;
}

// Every reply is the same, so only the count of what is left to send has to be kept.
bool send_replies(echo_client& client) {
    while (client.unsent > 0) {
        const std::size_t left_of_reply = (client.unsent - 1) % reply.size() + 1;
        const ssize_t count = send(client.fd, reply.data() + reply.size() - left_of_reply, left_of_reply,
                                   MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN)
            return false;
        if (count < 0)
            break;
        client.unsent -= static_cast<std::size_t>(count);
    }
    if (client.unsent > 0)
        watch(EPOLL_CTL_MOD, client.fd, EPOLLIN | EPOLLOUT, &client);
    return true;
}

// False when the client is gone.
bool serve_client(echo_client& client, std::uint32_t events) {
    static char chunk[65536];
    if ((events & EPOLLOUT) != 0) // asked for again below when it does not suffice
        watch(EPOLL_CTL_MOD, client.fd, EPOLLIN, &client);
    if ((events & (EPOLLIN | EPOLLHUP)) != 0) {
        const ssize_t count = recv(client.fd, chunk, sizeof(chunk), MSG_DONTWAIT);
        if (count == 0 || (count < 0 && errno != EAGAIN))
            return false;
        client.received += count > 0 ? static_cast<std::size_t>(count) : 0;
        client.unsent += client.received / request_bytes * reply.size();
        client.received %= request_bytes;
    }
    return send_replies(client);
}

void fork_program(char** program) {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    if (fork() == 0) {
        execv(program[0], program);
        _exit(127);
    }
}

void serve_for_ever(int listener, char** program) {
    for (;;) {
        epoll_event events[64];
        const int count = epoll_wait(epoll_fd, events, 64, -1);
        if (fork_wanted != 0 && *program != nullptr) {
            fork_wanted = 0;
            fork_program(program);
        }
        for (int i = 0; i < count; ++i) {
            auto* client = static_cast<echo_client*>(events[i].data.ptr);
            if (client == nullptr)
                accept_client(listener);
            else if (!serve_client(*client, events[i].events))
                drop_client(client);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fputs("usage: vrdx_bench_echo SOCKET REQUEST_BYTES REPLY_BYTES [PROGRAM ARGUMENT...]\n", stderr);
        return 1;
    }
    request_bytes = std::strtoul(argv[2], nullptr, 10);
    reply.assign(std::strtoul(argv[3], nullptr, 10), 'x');
    if (request_bytes == 0 || reply.empty())
        return 1;
    std::signal(SIGUSR1, on_fork_signal);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    if (listener < 0 || epoll_fd < 0 || bind_socket_path(listener, argv[1], socket_mode, backlog) != 0) {
        std::perror("vrdx_bench_echo");
        return 1;
    }
    watch(EPOLL_CTL_ADD, listener, EPOLLIN, nullptr);
    serve_for_ever(listener, argv + 4);
}
