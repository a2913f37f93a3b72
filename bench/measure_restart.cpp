// What starting a backend costs a driver that serves clients.
#include "measure.h"
#include "requests.h"
#include "statistics.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size small{16, 16};
constexpr int usual_trips = 500;
constexpr int forks_per_round = 7; // of the bare loop, which need not wait five seconds for each
// Before a start is seen and after it was asked for; on a busy machine a program needs a while to begin.
constexpr std::uint64_t around_ns = 25000000;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// Of a process, in nanoseconds since it began. That it waited for a processor while it could have run is the
// machine's doing, not the loop's: three processes that want two processors say nothing about what holds the
// loop up.
struct processor_times {
    std::uint64_t ran;
    std::uint64_t waited;
};

class scheduled_process {
public:
    explicit scheduled_process(pid_t pid)
        : fd_(open(("/proc/" + std::to_string(pid) + "/schedstat").c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0)
            throw std::runtime_error("cannot look at process " + std::to_string(pid));
    }
    ~scheduled_process() {
        close(fd_);
    }
    scheduled_process(const scheduled_process&) = delete;
    scheduled_process& operator=(const scheduled_process&) = delete;

    [[nodiscard]] processor_times so_far() const {
        char text[128];
        const ssize_t count = pread(fd_, text, sizeof(text) - 1, 0);
        text[count > 0 ? count : 0] = '\0';
        char* behind_running = text;
        const std::uint64_t ran = std::strtoull(text, &behind_running, 10);
        return {ran, std::strtoull(behind_running, nullptr, 10)};
    }

private:
    int fd_;
};

struct timed_trip {
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t waited; // of that, for a processor
};

bool overlap(const timed_trip& trip, std::uint64_t from, std::uint64_t to) {
    return trip.begin <= to && trip.end >= from;
}

double length(const timed_trip& trip) {
    const std::uint64_t took = trip.end - trip.begin;
    return milliseconds(0, took - std::min(took, trip.waited));
}

// One round trip after the other, with what server and client waited for a processor.
class watched_trips {
public:
    watched_trips(const load_target& target, pid_t server)
        : target_(target), connection_(target.socket), server_(server), client_(getpid()) {}

    // `beforehand` is part of it.
    timed_trip next(const std::function<void()>& beforehand = [] {}) {
        const processor_times server = server_.so_far();
        const processor_times client = client_.so_far();
        const std::uint64_t begin = clock_ns();
        beforehand();
        round_trip(connection_, target_);
        const std::uint64_t end = clock_ns();
        const processor_times server_then = server_.so_far();
        const std::uint64_t client_waited = client_.so_far().waited - client.waited;
        // While the server runs on the client's processor, the client waits for the server.
        const std::uint64_t for_server = std::min(client_waited, server_then.ran - server.ran);
        return {begin, end, server_then.waited - server.waited + client_waited - for_server};
    }

    // Of an ordinary round trip, in milliseconds.
    double usual() {
        std::vector<double> lengths;
        lengths.reserve(usual_trips);
        for (int i = 0; i < usual_trips; ++i)
            lengths.push_back(length(next()));
        return median(lengths);
    }

private:
    const load_target& target_;
    load_connection connection_;
    scheduled_process server_;
    scheduled_process client_;
};

// How much longer than usual the longest round trip takes that begins around the request or the start.
double held(const std::vector<timed_trip>& trips, double usual, std::uint64_t asked, std::uint64_t started) {
    double longest = usual;
    for (const timed_trip& trip : trips)
        if (overlap(trip, asked, asked + around_ns) || overlap(trip, started - around_ns, started))
            longest = std::max(longest, length(trip));
    return longest - usual;
}

// Has a child started by `ask_for_start`, which stamps `board`, and asks `target` meanwhile.
double time_held(const load_target& target, pid_t server, bench_board& board,
                 const std::function<void()>& ask_for_start) {
    watched_trips asking(target, server);
    const double usual = asking.usual();
    const std::uint64_t before = board.started;
    std::vector<timed_trip> trips{asking.next(ask_for_start)};
    const std::uint64_t asked = trips.front().begin;
    do {
        trips.push_back(asking.next());
    } while (board.started == before || trips.back().begin < board.started);
    return held(trips, usual, asked, board.started);
}

} // namespace

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
    const auto restart = [&] {
        bench_board& board = driver.board();
        return std::vector{time_held(ours, driver.pid(), board, [&] { kill(board.backend, SIGKILL); })};
    };
    const auto fork = [&] {
        std::vector<double> times;
        times.reserve(forks_per_round);
        for (int i = 0; i < forks_per_round; ++i)
            times.push_back(time_held(other, echo.pid(), forked, [&] { echo.signal(SIGUSR1); }));
        return std::vector{median(times)};
    };
    return alternate(rounds, restart, fork);
}
