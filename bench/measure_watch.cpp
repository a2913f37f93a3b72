// How soon, and for how much, clients that watch hear what the backend says; and who asked for a take, that
// it is confirmed.
#include "measure.h"
#include "requests.h"
#include "statistics.h"
#include "watcher_crowd.h"

#include <csignal>
#include <fstream>
#include <iterator>

namespace {

constexpr router_size small{16, 16};
constexpr std::size_t watchers[] = {1, 50, 500};
constexpr int changes_per_round = 40;
constexpr int answers_per_round = 60;
constexpr int status_trips = 2000;
// Between changes: the driver is idle again, and at no particular place of its wait.
constexpr double least_gap_ms = 10;
constexpr double most_gap_ms = 20;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// The bare loop with the backend program below it, telling the bytes that a driver told.
class bare_watch {
public:
    bare_watch(const work_directory& directory, const std::string& change)
        : item_(write_item(directory, "bare", "route_bench", small)), board_(*make_board(item_)),
          socket_(directory.file("bare.sock")), packet_(write_packet(directory, change)),
          program_({program_path("vrdx_bench_watch"), socket_, packet_, program_path("vrdx_route_bench"),
                    "--file", item_}) {
        wait_for(board_, [&] { return board_.backend != 0; });
    }

    [[nodiscard]] const std::string& socket() const {
        return socket_;
    }
    [[nodiscard]] bench_board& board() const {
        return board_;
    }

private:
    static std::string write_packet(const work_directory& directory, const std::string& change) {
        std::string path = directory.file("change");
        std::ofstream(path, std::ios::binary) << change;
        return path;
    }

    std::string item_;
    bench_board& board_;
    std::string socket_;
    std::string packet_;
    running_program program_;
};

std::string told_change(const running_driver& driver) {
    watcher_crowd crowd(driver.socket(), 1);
    crowd.begin();
    kill(driver.board().backend, SIGUSR2);
    crowd.wait();
    return crowd.last_change();
}

struct crowd_times {
    double first;
    double last;
    double cpu_us; // of `server` for one change
};

// Medians from the report in the pipe to the first and the last of so many watchers.
crowd_times tell_changes(const std::string& socket, bench_board& board, std::size_t count, pid_t server) {
    watcher_crowd crowd(socket, count);
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> first;
    std::vector<double> last;
    const double cpu_before = cpu_ns(server);
    for (int i = 0; i < changes_per_round; ++i) {
        gap.wait();
        crowd.begin();
        kill(board.backend, SIGUSR2);
        const told_times times = crowd.wait();
        first.push_back(milliseconds(board.report_begun, times.first));
        last.push_back(milliseconds(board.report_begun, times.last));
    }
    return {median(first), median(last), (cpu_ns(server) - cpu_before) / changes_per_round / 1000};
}

// First and last of each crowd but the one of a single watcher, and the CPU time of a watcher more.
std::vector<double> crowds(const std::string& socket, bench_board& board, pid_t server) {
    std::vector<double> values;
    double cpu_of_one = 0;
    double cpu_of_all = 0;
    for (const std::size_t count : watchers) {
        const crowd_times times = tell_changes(socket, board, count, server);
        values.push_back(times.first);
        if (count == 1)
            cpu_of_one = times.cpu_us;
        else
            values.push_back(times.last);
        cpu_of_all = times.cpu_us;
    }
    values.push_back((cpu_of_all - cpu_of_one) / static_cast<double>(*std::rbegin(watchers) - 1));
    return values;
}

double status_cpu_us(const load_target& target, pid_t server) {
    const double before = cpu_ns(server);
    const std::size_t count = round_trips(target, status_trips).size();
    return (cpu_ns(server) - before) / static_cast<double>(count) / 1000;
}

// From the backend's report to the answer of the take that it confirms.
std::vector<double> answer_times(const running_driver& driver) {
    const load_connection connection(driver.socket());
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    std::string answer;
    for (int i = 0; i < answers_per_round; ++i) {
        gap.wait();
        connection.send(answered_takes_request(i % small.outputs + 1, 1, (i + 3) % small.inputs + 1, "take"));
        connection.receive_packet(&answer);
        if (answer.find("confirmed") == std::string::npos)
            throw std::runtime_error("a take was not confirmed");
        times.push_back(milliseconds(driver.board().report_begun, clock_ns()));
    }
    return middle_and_tail(times);
}

// A report that comes as the loop has just begun to wait, as it does behind a take: one pass.
std::vector<double> pass_times(const bare_watch& bare) {
    watcher_crowd crowd(bare.socket(), 1);
    std::vector<double> times;
    for (int i = 0; i <= answers_per_round; ++i) {
        crowd.begin();
        kill(bare.board().backend, SIGUSR2);
        const told_times told = crowd.wait();
        if (i > 0) // the first report came at no particular moment
            times.push_back(milliseconds(bare.board().report_begun, told.last));
    }
    return middle_and_tail(times);
}

} // namespace

measurement measure_watchers(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "watched", "route_bench", small);
    const bare_watch bare(directory, told_change(driver));
    const load_target status = status_target(driver.socket());
    const auto ours = [&] { return crowds(driver.socket(), driver.board(), driver.pid()); };
    const auto other = [&] {
        std::vector<double> values = crowds(bare.socket(), bare.board(), driver.pid());
        values.back() = status_cpu_us(status, driver.pid());
        return values;
    };
    return alternate(rounds, ours, other);
}

measurement measure_take_answer(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "answered", "route_bench", small);
    const bare_watch bare(directory, told_change(driver));
    return alternate(
        rounds, [&] { return answer_times(driver); }, [&] { return pass_times(bare); });
}
