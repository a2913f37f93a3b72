// Starting the driver, and what starting a backend costs a driver that serves clients.
#include "measure.h"
#include "requests.h"
#include "statistics.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size small{16, 16};
constexpr int starts_per_round = 7;
constexpr int usual_trips = 500;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// A pipe whose writing end a program gets as its descriptor 3, to say that it is ready.
class ready_pipe {
public:
    ready_pipe() {
        if (pipe2(ends_, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
    }
    ~ready_pipe() {
        close_writing_end();
        close(ends_[0]);
    }
    ready_pipe(const ready_pipe&) = delete;
    ready_pipe& operator=(const ready_pipe&) = delete;

    [[nodiscard]] int writing_end() const {
        return ends_[1];
    }
    void close_writing_end() {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }
    // Reads up to the line that tells it; when that was.
    [[nodiscard]] std::uint64_t wait() const {
        std::string told;
        char chunk[256];
        while (told.find("ready 1") == std::string::npos) {
            const ssize_t count = read(ends_[0], chunk, sizeof(chunk));
            if (count <= 0)
                throw std::runtime_error("a program ended before it was ready");
            told.append(chunk, static_cast<std::size_t>(count));
        }
        return clock_ns();
    }

private:
    int ends_[2] = {-1, -1};
};

struct start_times {
    double ready;
    double first_byte;
};

start_times start_driver() {
    const work_directory directory;
    const std::string item = write_item(directory, "start", "route_bench", small);
    bench_board& board = *make_board(item);
    board.watched = 1;
    ready_pipe ready;
    const std::uint64_t begin = clock_ns();
    const running_program driver(
        {program_path("vrdx_routedriver"), "--file", item, "--no-autoshutdown", "--ready-fd", "3"},
        {.ready = ready.writing_end()});
    ready.close_writing_end();
    const std::uint64_t is_ready = ready.wait();
    wait_for(board, [&] { return board.first_byte != 0; });
    return {milliseconds(begin, is_ready), milliseconds(begin, board.first_byte)};
}

double start_minimal() {
    ready_pipe ready;
    const std::uint64_t begin = clock_ns();
    const running_program minimal({program_path("vrdx_bench_minimal"), "3"}, {.ready = ready.writing_end()});
    ready.close_writing_end();
    return milliseconds(begin, ready.wait());
}

std::vector<double> driver_starts() {
    std::vector<double> ready;
    std::vector<double> first_byte;
    for (int i = 0; i < starts_per_round; ++i) {
        const start_times times = start_driver();
        ready.push_back(times.ready);
        first_byte.push_back(times.first_byte);
    }
    return {median(ready), median(first_byte)};
}

std::vector<double> minimal_starts() {
    std::vector<double> ready;
    ready.reserve(starts_per_round);
    for (int i = 0; i < starts_per_round; ++i)
        ready.push_back(start_minimal());
    return {median(ready), median(ready)};
}

// --- a child is started while a client asks all the time ---------------------------------------------------

constexpr std::uint64_t around_ns = 5000000; // before a start is seen and after it was asked for

struct timed_trip {
    std::uint64_t begin;
    std::uint64_t end;
};

bool overlap(const timed_trip& trip, std::uint64_t from, std::uint64_t to) {
    return trip.begin <= to && trip.end >= from;
}

// How much longer than usual the longest round trip takes that begins around the request or the start.
double held(const std::vector<timed_trip>& trips, double usual, std::uint64_t asked, std::uint64_t started) {
    double longest = 0;
    for (const timed_trip& trip : trips)
        if (overlap(trip, asked, asked + around_ns) || overlap(trip, started - around_ns, started))
            longest = std::max(longest, milliseconds(trip.begin, trip.end));
    return longest - usual;
}

// Has a child started by `ask_for_start`, which stamps `board`, and asks `target` meanwhile.
double time_held(const load_target& target, bench_board& board, const std::function<void()>& ask_for_start) {
    const double usual = median(round_trips(target, usual_trips)) / 1000;
    const load_connection connection(target.socket);
    const std::uint64_t before = board.started;
    const std::uint64_t asked = clock_ns();
    ask_for_start();
    std::vector<timed_trip> trips;
    do {
        const std::uint64_t begin = clock_ns();
        round_trip(connection, target);
        trips.push_back({begin, clock_ns()});
    } while (board.started == before || trips.back().begin < board.started);
    return held(trips, usual, asked, board.started);
}

} // namespace

measurement measure_start(int rounds) {
    return alternate(rounds, driver_starts, minimal_starts);
}

// The driver looks every five seconds whether a backend is to be started.
measurement measure_restart(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "restart", "route_bench", small);
    const load_target ours = status_target(driver.socket());
    const std::string item = write_item(directory, "forked", "route_bench", small);
    bench_board& forked = *make_board(item);
    const echo_server echo(directory, ours.request.size(), ours.reply_bytes,
                           {program_path("vrdx_route_bench"), "--file", item});
    const load_target other{echo.socket(), ours.request, ours.reply_bytes};
    return alternate(
        rounds,
        [&] {
            return std::vector{
                time_held(ours, driver.board(), [&] { kill(driver.board().backend, SIGKILL); })};
        },
        [&] { return std::vector{time_held(other, forked, [&] { echo.signal(SIGUSR1); })}; });
}
