// The measurements behind the rows. Each returns what every round measured, for each of its rows in the order
// of the plan (plan.cpp).
#pragma once

#include "programs.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

// Of one row, from round to round.
struct two_sides {
    std::vector<double> ours;
    std::vector<double> other;
};
using measurement = std::vector<two_sides>;

// One value per row.
using one_side = std::function<std::vector<double>()>;

// Measures both sides in every round, by turns ours and the other first.
measurement alternate(int rounds, const one_side& ours, const one_side& other);

// The echo server, answering requests and replies of these sizes. `program` is what it forks on SIGUSR1.
class echo_server {
public:
    echo_server(const work_directory& directory, std::size_t request_bytes, std::size_t reply_bytes,
                const std::vector<std::string>& program = {});

    [[nodiscard]] const std::string& socket() const {
        return socket_;
    }
    [[nodiscard]] pid_t pid() const {
        return program_.pid();
    }
    void signal(int signo) const {
        program_.signal(signo);
    }

private:
    std::string socket_;
    running_program program_;
};

void sleep_ms(double milliseconds);

// Pauses of random length: the same ones in every round and on both sides.
class random_gap {
public:
    random_gap(double least_ms, double most_ms) : length_(least_ms, most_ms) {}
    void wait() {
        sleep_ms(length_(engine_));
    }

private:
    std::mt19937 engine_{1}; // NOLINT(cert-msc51-cpp)
    std::uniform_real_distribution<double> length_;
};

// Waits until the condition, which events of `board` make true, holds. Throws when it does not within
// seconds.
void wait_for(bench_board& board, const std::function<bool()>& condition);

// Their median and 99th percentile.
std::vector<double> middle_and_tail(const std::vector<double>& times);

// Times (us) from sending a take to the first byte of its command at the backend, the driver being idle
// before each.
std::vector<double> take_times(const running_driver& driver, int count);

// What /proc tells: nanoseconds on a processor since the start; resident and private memory in KiB.
double cpu_ns(pid_t pid);
double resident_kib(pid_t pid);
double private_kib(pid_t pid);
std::vector<pid_t> children_of(pid_t pid);

measurement measure_status_128(int rounds);
measurement measure_status_16(int rounds);
measurement measure_crowd(int rounds);
measurement measure_crowd_redis(int rounds);
measurement measure_take(int rounds);
measurement measure_watchers(int rounds);
measurement measure_take_answer(int rounds);
measurement measure_describe(int rounds);
measurement measure_routectl_status(int rounds);
measurement measure_routectl_watch(int rounds);
measurement measure_salvo(int rounds);
measurement measure_salvo_in_messages(int rounds);
measurement measure_flood(int rounds);
measurement measure_flood_of_salvos(int rounds);
measurement measure_videohub(int rounds);
measurement measure_videohub_salvo(int rounds);
measurement measure_report(int rounds);
measurement measure_report_work(int rounds);
measurement measure_trace_share(int rounds);
measurement measure_idle_cpu(int rounds);
measurement measure_memory(int rounds);
measurement measure_start(int rounds);
measurement measure_restart(int rounds);
measurement measure_client_growth(int rounds);
measurement measure_output_growth(int rounds);
measurement measure_hundred_drivers(int rounds);
