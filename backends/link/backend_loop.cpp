#include "backend_loop.h"

#include "endpoint.h"
#include "print_log.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int last_words_timeout_ms = 1000;
constexpr std::uint64_t longest_wait_us = 60000000;

// At least 1: at end of input nothing waits, and the next read step notices it.
int bytes_waiting() {
    int count = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &count) == 0 ? std::max(count, 1) : 1;
}

// Takes in what waits on standard input. False when it has ended or the driver is gone.
bool read_messages(const backend_handlers& handlers) {
    for (int left = bytes_waiting(); left > 0; --left) {
        if (endpoint_service() != 0) {
            return false;
        }
        if (endpoint_peek_message() != nullptr) {
            handlers.on_message(*endpoint_poll_message(), backend_clock_us());
        }
    }
    return true;
}

// How long nothing is to be done unless somebody speaks.
int idle_ms(const router_link& link, const backend_handlers& handlers, bool driver_reads) {
    const std::uint64_t now = backend_clock_us();
    const std::uint64_t due =
        driver_reads ? std::min(link_due(link), handlers.next_due()) : handlers.next_due();
    return due <= now ? 0 : static_cast<int>((std::min(due - now, longest_wait_us) + 999) / 1000);
}

// A driver that does not read must not make us collect what the router goes on to say.
void serve_router(router_link& link, const backend_handlers& handlers) {
    if (!endpoint_output_pending()) {
        service_link(link, backend_clock_us());
    }
    handlers.on_pass(backend_clock_us());
    flush_link(link, backend_clock_us());
    print_log(link.log);
}

// False when standard input has ended or the driver is gone.
bool run_pass(router_link& link, const backend_handlers& handlers) {
    const bool driver_reads = !endpoint_output_pending();
    pollfd waits[] = {{STDIN_FILENO, POLLIN, 0},
                      {STDOUT_FILENO, static_cast<short>(driver_reads ? 0 : POLLOUT), 0},
                      driver_reads ? link_wait(link) : pollfd{-1, 0, 0}};
    if (poll(waits, 3, idle_ms(link, handlers, driver_reads)) < 0) {
        return errno == EINTR;
    }
    if ((waits[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        return false;
    }
    if (waits[0].revents != 0 && !read_messages(handlers)) {
        return false;
    }
    if (endpoint_flush() != 0) {
        return false;
    }
    serve_router(link, handlers);
    return true;
}

// The driver may close our input and still read what it asked for.
void send_last_words() {
    while (endpoint_output_pending() && endpoint_flush() == 0) {
        pollfd wait = {STDOUT_FILENO, POLLOUT, 0};
        if (poll(&wait, 1, last_words_timeout_ms) == 0) {
            return;
        }
    }
}

} // namespace

std::uint64_t backend_clock_us() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

const char* start_backend_program(int argc, char** argv) {
    // A driver or a router that is gone shows in the results of writes.
    std::signal(SIGPIPE, SIG_IGN);
    if (argc != 3 || std::string_view(argv[1]) != "--file") {
        print_log_line("<ERR>to be started by the driver, with --file ITEM");
        return nullptr;
    }
    if (endpoint_init() != 0) {
        print_log_line("<ERR>standard input, output and error must be pipes, sockets or character devices");
        return nullptr;
    }
    return argv[2];
}

void run_backend_loop(router_link& link, const backend_handlers& handlers) {
    serve_router(link, handlers);
    while (run_pass(link, handlers)) {
    }
    send_last_words();
}
