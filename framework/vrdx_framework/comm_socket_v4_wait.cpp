#include "comm_socket_v4_internal.h"

#include "monotonic_us.h"
#include "vrdx.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

namespace {

// So many rounds last more than a microsecond. A clock that cannot be read stands still, and would keep us in
// the wait for ever.
constexpr int most_rounds_without_clock = 16;

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

void note_event(comm_socket_v4* server, const epoll_event& event) {
    auto* client = static_cast<comm_socket_v4_client*>(event.data.ptr);
    if (client == nullptr) {
        server->accept_ready = true;
        return;
    }
    if ((event.events & (EPOLLHUP | EPOLLERR)) != 0)
        client->hung_up = true;
    comm_socket_v4_queue_client(server, client);
}

// Waits for events, at most `timeout_us`, and notes which clients have some. False when a signal or an error
// came first, with errno set.
bool collect_events(comm_socket_v4* server, std::uint64_t timeout_us) {
    epoll_event events[64];
    const int count = wait_for_events(server->epoll_fd, events, 64, timeout_us);
    for (int i = 0; i < count; ++i)
        note_event(server, events[i]);
    return count >= 0;
}

// The next pass has something to do.
bool wait_is_cut_short() {
    return vrdx_end_wait || vrdx_should_exit || DIE4 != 0;
}

bool somebody_waits(const comm_socket_v4* server) {
    return server->accept_ready || !server->ready.empty();
}

// How long we may sleep, in microseconds, if no client sends anything; 0 when there is something to do now.
std::uint64_t time_to_sleep(const comm_socket_v4* server, std::uint64_t now, std::uint64_t deadline) {
    if (somebody_waits(server) || wait_is_cut_short())
        return 0;
    std::uint64_t wake = std::min(deadline, server->limits_check);
    if (server->accept_resume != 0)
        wake = std::min(wake, server->accept_resume);
    return wake > now ? wake - now : 0;
}

} // namespace

void comm_socket_v4_watch_listener(comm_socket_v4* server, int operation, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = nullptr; // clients carry their own pointer
    epoll_ctl(server->epoll_fd, operation, server->listen_fd, &event);
}

bool comm_socket_v4_open_event_set(comm_socket_v4* server) {
    const int epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_fd < 0)
        return false;
    if (server->epoll_fd >= 0)
        close(server->epoll_fd);
    server->epoll_fd = epoll_fd;
    comm_socket_v4_watch_listener(server, EPOLL_CTL_ADD, EPOLLIN);
    for (const auto& client : server->clients) {
        epoll_event event{};
        event.events = client->interest;
        event.data.ptr = client.get();
        if (client->in_event_set)
            epoll_ctl(server->epoll_fd, EPOLL_CTL_ADD, client->fd, &event);
    }
    return true;
}

int comm_socket_v4_accept_turn(comm_socket_v4* server) {
    if (!server->events_fresh)
        collect_events(server, 0);
    return comm_socket_v4_accept_clients(server);
}

int comm_socket_v4_clients_turn(comm_socket_v4* server) {
    server->events_fresh = false;
    return comm_socket_v4_serve_clients(server);
}

void comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline) {
    vrdx_trace_flush(); // the trace is gathered while there is work, and written before we wait
    if (server == nullptr)
        return;
    bool interrupted = false;
    bool clock_stands = false;
    int rounds_without_clock = 0;
    std::uint64_t now = monotonic_us();
    do {
        const std::uint64_t timeout = time_to_sleep(server, now, deadline);
        if (timeout > 0)
            vrdx_trace_flush();
        server->events_fresh = collect_events(server, timeout);
        // A signal ends the wait, and so may a time in which this process was stopped: requests that came
        // meanwhile are
        // served first.
        interrupted = !server->events_fresh;
        if (interrupted && errno == EINTR)
            server->events_fresh = collect_events(server, 0);
        const bool slept_out = timeout > 0 && !somebody_waits(server);
        comm_socket_v4_accept_clients(server);
        comm_socket_v4_serve_clients(server);
        const std::uint64_t before = std::exchange(now, monotonic_us());
        rounds_without_clock = now == before ? rounds_without_clock + 1 : 0;
        clock_stands = rounds_without_clock >= (slept_out ? 1 : most_rounds_without_clock);
    } while (!interrupted && !clock_stands && !wait_is_cut_short() && now < deadline);
}
