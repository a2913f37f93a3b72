// How soon a take is on its way to the router.
#include "measure.h"
#include "message.h"
#include "requests.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr int takes_per_round = 150;
constexpr int points = 16;
// Between takes: the driver is idle again, and at no particular place of its wait.
constexpr double least_gap_ms = 5;
constexpr double most_gap_ms = 15;

double microseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1000;
}

struct pipe_ends {
    int read_end = -1;
    int write_end = -1;

    pipe_ends() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
        read_end = ends[0];
        write_end = ends[1];
    }
    ~pipe_ends() {
        close(read_end);
        close(write_end);
    }
    pipe_ends(const pipe_ends&) = delete;
    pipe_ends& operator=(const pipe_ends&) = delete;
};

// A pipe with the backend program at its other end, and nothing between.
class bare_hop {
public:
    explicit bare_hop(const work_directory& directory)
        : item_(write_item(directory, "hop", "route_bench", {points, points})), board_(*make_board(item_)),
          program_({program_path("vrdx_route_bench"), "--file", item_}, {.in = pipe_.read_end}) {
        wait_for(board_, [&] { return board_.backend != 0; });
    }

    // From the write to the first byte read.
    [[nodiscard]] double time(const std::string& command) const {
        board_.watched = 1;
        const std::uint64_t begin = clock_ns();
        if (write(pipe_.write_end, command.data(), command.size()) != static_cast<ssize_t>(command.size()))
            throw std::runtime_error("the pipe does not take a command");
        wait_for(board_, [&] { return board_.first_byte > begin; });
        return microseconds(begin, board_.first_byte);
    }

private:
    std::string item_;
    bench_board& board_;
    pipe_ends pipe_;
    running_program program_;
};

// As the driver writes it.
std::string take_command(int output, int input) {
    TavrixAPIRouterMessage message;
    message.command = "route output";
    message.type = "command";
    message.fields = {
        {"queue", "add"}, {"from input", std::to_string(input)}, {"to output", std::to_string(output)}};
    std::string text;
    encode_router_message(message, text);
    return text;
}

std::vector<double> echo_and_hop_times(const load_target& echo, const bare_hop& hop, int count) {
    const load_connection connection(echo.socket);
    const std::string command = take_command(3, 5);
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        gap.wait();
        const double echo_time = round_trip(connection, echo);
        times.push_back(echo_time + hop.time(command));
    }
    return times;
}

} // namespace

std::vector<double> take_times(const running_driver& driver, int count) {
    const load_connection connection(driver.socket());
    bench_board& board = driver.board();
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        gap.wait();
        const std::uint32_t flushes = board.flushes;
        board.watched = 1;
        const std::uint64_t begin = clock_ns();
        connection.send(take_request(i % points + 1, (i + 3) % points + 1));
        connection.receive(take_reply_bytes);
        wait_for(board, [&] { return board.watched == 0 && board.flushes != flushes; });
        // When the driver's own question to the router came just before, that was not the take's byte.
        if (board.first_byte > begin)
            times.push_back(microseconds(begin, board.first_byte));
    }
    return times;
}

measurement measure_take(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "take", "route_bench", {points, points});
    const std::string request = take_request(3, 5);
    const echo_server echo(directory, request.size(), take_reply_bytes);
    const bare_hop hop(directory);
    const load_target other{echo.socket(), request, take_reply_bytes};
    return alternate(
        rounds, [&] { return middle_and_tail(take_times(driver, takes_per_round)); },
        [&] { return middle_and_tail(echo_and_hop_times(other, hop, takes_per_round)); });
}
