// A full report of the largest router: from its first byte in the pipe to its last name in the status, and
// the work that it makes.
#include "comm_socket_v4_connection.h"
#include "measure.h"
#include "monotonic_us.h"
#include "requests.h"
#include "statistics.h"

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size largest{4096, 1024};
constexpr int reports_per_round = 7;
constexpr double pause_ms = 20;           // between reports: all processes are idle again
constexpr double work_ms = 60;            // in which a report is read, whatever the pass
constexpr int report_pipe_bytes = 262144; // as the driver's
constexpr std::uint64_t answer_patience_us = 5000000;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// Asks for the status again and again until the reply shows output 1 under the report's name for it.
std::uint64_t wait_until_visible(comm_socket_v4_connection& connection, const std::string& name) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "status", nullptr);
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    comm_socket_v4_packet reply;
    do {
        if (comm_socket_v4_exchange(&connection, request, &reply, monotonic_us() + answer_patience_us) !=
            comm_exchange::done)
            throw std::runtime_error("the driver does not answer while it reads a report");
    } while (reply.bytes.find(name) == std::string::npos);
    return clock_ns();
}

double time_to_visible(const running_driver& driver, comm_socket_v4_connection& connection) {
    bench_board& board = driver.board();
    sleep_ms(pause_ms);
    const std::string name = "Output 1 gen " + std::to_string(board.generation + 1);
    kill(board.backend, SIGUSR1);
    const std::uint64_t visible = wait_until_visible(connection, name);
    return milliseconds(board.report_begun, visible);
}

std::vector<double> report_times(const running_driver& driver) {
    comm_socket_v4_connection connection;
    if (comm_socket_v4_connect(&connection, driver.socket()) != 0)
        throw std::runtime_error("the driver accepts no client");
    std::vector<double> times;
    times.reserve(reports_per_round);
    for (int i = 0; i < reports_per_round; ++i)
        times.push_back(time_to_visible(driver, connection));
    comm_socket_v4_disconnect(&connection);
    return {median(times)};
}

// The backend program, its reports read by the bare loop in place of a driver.
class bare_report {
public:
    explicit bare_report(const work_directory& directory)
        : item_(write_item(directory, "bare", "route_bench", largest)), board_(*make_board(item_)) {
        const std::string trace = item_ + ".trace";
        const int trace_fd = open(trace.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        int commands[2];
        int reports[2];
        if (trace_fd < 0 || pipe2(commands, O_CLOEXEC) != 0 || pipe2(reports, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make the pipes of the bare loop");
        fcntl(reports[0], F_SETPIPE_SZ, report_pipe_bytes);
        commands_ = commands[1]; // held open: the backend ends with it
        loop_.emplace(std::vector<std::string>{program_path("vrdx_bench_report"), board_path(item_)},
                      program_streams{.in = reports[0], .err = trace_fd});
        backend_.emplace(std::vector<std::string>{program_path("vrdx_route_bench"), "--file", item_},
                         program_streams{.in = commands[0], .out = reports[1]});
        for (const int fd : {commands[0], reports[0], reports[1], trace_fd})
            close(fd);
        wait_for(board_, [&] { return board_.backend != 0 && board_.report_traced != 0; });
    }
    ~bare_report() {
        close(commands_);
    }
    bare_report(const bare_report&) = delete;
    bare_report& operator=(const bare_report&) = delete;

    [[nodiscard]] double time() const {
        sleep_ms(pause_ms);
        const std::uint64_t before = board_.report_traced;
        backend_->signal(SIGUSR1);
        wait_for(board_, [&] { return board_.report_traced != before; });
        return milliseconds(board_.report_begun, board_.report_traced);
    }

    // Of the loop, and of the backend that reports to it.
    [[nodiscard]] pid_t pid() const {
        return loop_->pid();
    }
    [[nodiscard]] pid_t backend() const {
        return backend_->pid();
    }

private:
    std::string item_;
    bench_board& board_;
    int commands_ = -1;
    std::optional<running_program> loop_;
    std::optional<running_program> backend_;
};

std::vector<double> bare_times(const bare_report& bare) {
    std::vector<double> times;
    times.reserve(reports_per_round);
    for (int i = 0; i < reports_per_round; ++i)
        times.push_back(bare.time());
    return {median(times)};
}

double cpu_ms_in_window(pid_t pid) {
    const double before = cpu_ns(pid);
    sleep_ms(work_ms);
    return (cpu_ns(pid) - before) / 1e6;
}

// Processor time (ms) of `reader` for one report, without what its passes cost anyway.
std::vector<double> work_times(pid_t reader, pid_t backend) {
    std::vector<double> times;
    times.reserve(reports_per_round);
    for (int i = 0; i < reports_per_round; ++i) {
        const double idle = cpu_ms_in_window(reader);
        kill(backend, SIGUSR1);
        times.push_back(cpu_ms_in_window(reader) - idle);
    }
    return {median(times)};
}

} // namespace

measurement measure_report_work(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "work", "route_bench", largest);
    const bare_report bare(directory);
    return alternate(
        rounds, [&] { return work_times(driver.pid(), driver.board().backend); },
        [&] { return work_times(bare.pid(), bare.backend()); });
}

measurement measure_report(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "report", "route_bench", largest);
    const bare_report bare(directory);
    return alternate(
        rounds, [&] { return report_times(driver); }, [&] { return bare_times(bare); });
}

measurement measure_trace_share(int rounds) {
    const work_directory directory;
    const running_driver traced(directory, "traced", "route_bench", largest);
    const running_driver untraced(directory, "untraced", "route_bench", largest, {.traced = false});
    return alternate(
        rounds, [&] { return report_times(traced); }, [&] { return report_times(untraced); });
}
