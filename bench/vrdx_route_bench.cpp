// The backend program "route_bench": the simulated router, which in addition stamps on a board (item setting
// "bench board") when it started, when it read the first byte watched for, and when it reports.
//
//   SIGUSR1                     it writes a full report of its router, under new names
//   SIGUSR2                     it reports one change: output 1 gets its source from input 1 or 2, by turns
//   item setting "bench salvo"  "yes": it gets all takes of a batch in one message
#include "board.h"
#include "endpoint.h"
#include "simulator.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <map>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

volatile std::sig_atomic_t report_wanted = 0;
volatile std::sig_atomic_t change_wanted = 0;

void on_report_signal(int) {
    report_wanted = 1;
}

void on_change_signal(int) {
    change_wanted = 1;
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

std::string reports_text(simulator& simulator) {
    std::string text;
    for (const TavrixAPIRouterMessage& report : simulator.driver.reports)
        encode_router_message(report, text);
    simulator.driver.reports.clear();
    simulator.driver.log.clear();
    return text;
}

std::string full_report(simulator& simulator) {
    announce_router(simulator);
    return reports_text(simulator);
}

// The names tell which report it is.
bool report_again(bench_board& board, simulator& simulator) {
    const std::uint32_t generation = board.generation.fetch_add(1) + 1;
    int output = 0;
    for (simulated_output& named : simulator.router.outputs)
        named.name = "Output " + std::to_string(++output) + " gen " + std::to_string(generation);
    const std::string text = full_report(simulator);
    board.report_begun = clock_ns();
    raise_event(board);
    return write_whole(text);
}

// Through what the driver is told, so that the report it asks for now and then says the same.
bool report_change(bench_board& board, simulator& simulator) {
    simulated_output& output = simulator.router.outputs.front();
    output.video_input = output.audio_input = output.video_input == 0 ? 1 : 0;
    show_source(simulator.driver, 0, endpoint_level::all, output.video_input);
    report_news(simulator.driver);
    const std::string text = reports_text(simulator);
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

bool takes_output(const TavrixAPIRouterMessage& message, const std::string& output) {
    if (message.command == "route output")
        return message_field(message, "to output") == output;
    return std::any_of(message.fields.begin(), message.fields.end(), [&](const auto& field) {
        return field.first.starts_with("take.") && field.second.starts_with(output + " ");
    });
}

// `begun`: when the message's first byte was read.
void stamp_watched_take(bench_board& board, const TavrixAPIRouterMessage& message, std::uint64_t begun) {
    const std::int32_t watched = board.watched_output;
    if (watched == 0 || !takes_output(message, std::to_string(watched - 1)))
        return;
    board.take_byte = begun;
    board.watched_output = 0;
    raise_event(board);
}

bool answer_message(bench_board& board, simulator& simulator, std::uint64_t begun) {
    const TavrixAPIRouterMessage* message = endpoint_poll_message();
    const bool is_flush = message_field(*message, "queue") == "flush" || message->command == "route outputs";
    stamp_watched_take(board, *message, begun);
    handle_message(simulator, *message, clock_ns() / 1000);
    run_due_takes(simulator, clock_ns() / 1000);
    const std::string text = reports_text(simulator);
    if (is_flush)
        board.report_begun = clock_ns();
    if (!write_whole(text))
        return false;
    if (is_flush) {
        ++board.flushes;
        raise_event(board);
    }
    return true;
}

// Reads what waits on standard input; false when it has ended or the driver is gone.
bool read_messages(bench_board& board, simulator& simulator) {
    static std::uint64_t message_begun = 0; // 0: the next byte begins one
    int waiting = 0;
    ioctl(STDIN_FILENO, FIONREAD, &waiting);
    do {
        if (endpoint_service() != 0)
            return false;
        stamp_first_byte(board);
        if (message_begun == 0 && waiting > 0)
            message_begun = clock_ns();
        if (endpoint_peek_message() == nullptr)
            continue;
        if (!answer_message(board, simulator, std::exchange(message_begun, 0)))
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
        if (report_wanted != 0 && !report_again(board, simulator))
            return;
        if (change_wanted != 0 && !report_change(board, simulator))
            return;
        report_wanted = 0;
        change_wanted = 0;
    }
}

// Signals arrive only while we wait, and no write to a driver that is gone ends us.
void arrange_signals() {
    sigset_t asking;
    sigemptyset(&asking);
    sigaddset(&asking, SIGUSR1);
    sigaddset(&asking, SIGUSR2);
    sigprocmask(SIG_BLOCK, &asking, nullptr);
    std::signal(SIGUSR1, on_report_signal);
    std::signal(SIGUSR2, on_change_signal);
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
    simulator.settings.whole_salvos = item["bench salvo"] == "yes";
    simulator.router =
        new_router(simulator.settings.inputs, simulator.settings.outputs, simulator.settings.split_levels);
    board->backend = getpid();
    board->started = started;
    raise_event(*board);
    if (write_whole(full_report(simulator)))
        serve(*board, simulator);
    return 0;
}
