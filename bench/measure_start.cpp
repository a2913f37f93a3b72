// Starting the driver, up to its first question to the backend.
#include "measure.h"
#include "statistics.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size small{16, 16};
constexpr int starts_per_round = 7;
constexpr int pass_ms = 10; // the one wait between asking for the router's report and writing it

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

// `wait_ms`: how long it waits before it is ready.
double start_minimal(int wait_ms) {
    ready_pipe ready;
    const std::uint64_t begin = clock_ns();
    const running_program minimal({program_path("vrdx_bench_minimal"), "3", std::to_string(wait_ms)},
                                  {.ready = ready.writing_end()});
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
    std::vector<double> after_wait;
    for (int i = 0; i < starts_per_round; ++i) {
        ready.push_back(start_minimal(0));
        after_wait.push_back(start_minimal(pass_ms));
    }
    return {median(ready), median(after_wait)};
}

} // namespace

measurement measure_start(int rounds) {
    return alternate(rounds, driver_starts, minimal_starts);
}
