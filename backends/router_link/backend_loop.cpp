#include "backend_loop.h"

#include "endpoint.h"
#include "print_log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace {

constexpr int last_words_timeout_ms = 1000;
constexpr std::uint64_t longest_wait_us = 60000000;

// How long there is nothing to do if nothing comes.
int idle_ms(const router_link& link, const backend_handlers& handlers, bool driver_reads) {
    const std::uint64_t now = endpoint_clock_us();
    const std::uint64_t due =
        driver_reads ? std::min(link_due(link), handlers.next_due()) : handlers.next_due();
    return due <= now ? 0 : static_cast<int>((std::min(due - now, longest_wait_us) + 999) / 1000);
}

// While the driver does not read, the router is not read either, so that nothing piles up here.
void serve_router(router_link& link, const backend_handlers& handlers) {
    if (!endpoint_output_pending()) {
        service_link(link, endpoint_clock_us());
    }
    handlers.on_pass(endpoint_clock_us());
    flush_link(link, endpoint_clock_us());
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
    const auto on_message = [&](const auto& message) { handlers.on_message(message, endpoint_clock_us()); };
    if ((waits[0].revents != 0 ? endpoint_serve(on_message) : endpoint_flush()) != 0) {
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
