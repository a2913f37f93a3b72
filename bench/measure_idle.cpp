// What a driver costs that has nothing to do: processor time and memory.
#include "measure.h"

#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size small{16, 16};
constexpr router_size largest{4096, 1024};
constexpr double window_ms = 2000;
constexpr double settle_ms = 300;

// A program that waits, and has said so.
class minimal_program {
public:
    minimal_program() : program_({program_path("vrdx_bench_minimal"), "1"}, {.out = make_pipe()}) {
        close(ends_[1]);
        pollfd said{ends_[0], POLLIN, 0};
        if (poll(&said, 1, 20000) != 1)
            throw std::runtime_error("the minimal program does not start");
    }
    ~minimal_program() {
        close(ends_[0]);
    }
    minimal_program(const minimal_program&) = delete;
    minimal_program& operator=(const minimal_program&) = delete;

    [[nodiscard]] pid_t pid() const {
        return program_.pid();
    }

private:
    int make_pipe() {
        if (pipe2(ends_, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
        return ends_[1];
    }

    int ends_[2] = {-1, -1};
    running_program program_;
};

} // namespace

// Both run all the time and are looked at over the same seconds.
measurement measure_idle_cpu(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "idle", "route_simulator", small);
    const std::string item = write_item(directory, "loop", "route_simulator", small);
    const running_program loop(
        {program_path("vrdx_bench_loop"), program_path("vrdx_route_simulator"), "--file", item});
    sleep_ms(settle_ms);
    two_sides sides;
    for (int round = 0; round < rounds; ++round) {
        const double ours = cpu_ns(driver.pid());
        const double other = cpu_ns(loop.pid());
        sleep_ms(window_ms);
        sides.ours.push_back((cpu_ns(driver.pid()) - ours) / window_ms);
        sides.other.push_back((cpu_ns(loop.pid()) - other) / window_ms);
    }
    return {sides};
}

// Anew in every round: how memory is laid out differs from start to start.
measurement measure_memory(int rounds) {
    const auto ours = [] {
        const work_directory directory;
        const running_driver at_16(directory, "small", "route_simulator", small);
        const running_driver at_4096(directory, "large", "route_simulator", largest);
        sleep_ms(settle_ms);
        return std::vector<double>{resident_kib(at_16.pid()), private_kib(at_16.pid()),
                                   resident_kib(at_4096.pid()), private_kib(at_4096.pid())};
    };
    const auto other = [] {
        const minimal_program minimal;
        const double resident = resident_kib(minimal.pid());
        const double own = private_kib(minimal.pid());
        return std::vector<double>{resident, own, resident, own};
    };
    return alternate(rounds, ours, other);
}
