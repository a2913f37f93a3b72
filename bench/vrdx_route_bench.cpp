// The backend program "route_bench": the simulated router, which in addition stamps on a board (item setting
// "bench board") when it started and when it read the first byte watched for, and which writes a full report
// of its router, under new names, on SIGUSR1.
#include "board.h"
#include "commands.h"
#include "endpoint.h"
#include "takes.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <map>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t report_wanted = 0;

void on_report_signal(int) {
    report_wanted = 1;
}

// Writes all of it, waiting for the driver to read; false when the driver is gone.
bool write_whole(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd room{STDOUT_FILENO, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::string full_report(const simulated_router& router) {
    std::string text;
    encode_router_message(info_report(router), text);
    encode_router_message(inputs_report(router), text);
    encode_router_message(outputs_report(router), text);
    return text;
}

// The names tell which report it is.
bool report_again(bench_board& board, simulated_router& router) {
    const std::uint32_t generation = board.generation.fetch_add(1) + 1;
    int output = 0;
    for (simulated_output& named : router.outputs)
        named.name = "Output " + std::to_string(++output) + " gen " + std::to_string(generation);
    const std::string text = full_report(router);
    board.report_begun = clock_ns();
    raise_event(board);
    return write_whole(text);
}

void stamp_first_byte(bench_board& board) {
    const std::uint64_t now = clock_ns();
    if (board.watched.exchange(0) != 1)
        return;
    board.first_byte = now;
    raise_event(board);
}

bool answer_message(bench_board& board, simulator& simulator) {
    const TavrixAPIRouterMessage* message = endpoint_poll_message();
    const bool is_flush = message_field(*message, "queue") == "flush";
    reaction reaction;
    handle_message(simulator, *message, clock_ns() / 1000, reaction);
    run_due_flushes(simulator, clock_ns() / 1000, reaction);
    for (const TavrixAPIRouterMessage& report : reaction.reports) {
        std::string text;
        encode_router_message(report, text);
        if (!write_whole(text))
            return false;
    }
    if (is_flush) {
        ++board.flushes;
        raise_event(board);
    }
    return true;
}

// Takes in what waits on standard input; false when it has ended or the driver is gone.
bool read_messages(bench_board& board, simulator& simulator) {
    int waiting = 0;
    ioctl(STDIN_FILENO, FIONREAD, &waiting);
    do {
        if (endpoint_service() != 0)
            return false;
        stamp_first_byte(board);
        if (endpoint_peek_message() != nullptr && !answer_message(board, simulator))
            return false;
    } while (--waiting > 0);
    return true;
}

void serve(bench_board& board, simulator& simulator) {
    sigset_t while_waiting;
    sigemptyset(&while_waiting);
    for (;;) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (ppoll(&input, 1, nullptr, &while_waiting) > 0 && !read_messages(board, simulator))
            return;
        if (report_wanted == 0)
            continue;
        report_wanted = 0;
        if (!report_again(board, simulator.router))
            return;
    }
}

// SIGUSR1 arrives only while we wait, and no write to a driver that is gone ends us.
void arrange_signals() {
    sigset_t report_signal;
    sigemptyset(&report_signal);
    sigaddset(&report_signal, SIGUSR1);
    sigprocmask(SIG_BLOCK, &report_signal, nullptr);
    std::signal(SIGUSR1, on_report_signal);
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

int main(int argc, char** argv) {
    const std::uint64_t started = clock_ns();
    std::map<std::string, std::string> item;
    if (argc != 3 || read_name_value_file(item, argv[2]) != 0 || endpoint_init() != 0)
        return 1;
    bench_board* board = map_board(item["bench board"], false);
    if (board == nullptr)
        return 1;
    arrange_signals();
    log_lines log;
    simulator simulator;
    simulator.settings = settings_from_item(item, argv[2], log);
    simulator.router =
        new_router(simulator.settings.inputs, simulator.settings.outputs, simulator.settings.split_levels);
    board->backend = getpid();
    board->started = started;
    raise_event(*board);
    if (write_whole(full_report(simulator.router)))
        serve(*board, simulator);
    return 0;
}
