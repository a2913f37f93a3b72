#include "measure.h"

#include "statistics.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr std::uint64_t patience_ns = 20000000000;

void add_values(measurement& all, std::vector<double> two_sides::*side, const std::vector<double>& values) {
    all.resize(std::max(all.size(), values.size()));
    for (std::size_t i = 0; i < values.size(); ++i)
        (all[i].*side).push_back(values[i]);
}

std::vector<std::string> echo_arguments(const std::string& socket, std::size_t request_bytes,
                                        std::size_t reply_bytes, const std::vector<std::string>& program) {
    std::vector<std::string> arguments{program_path("vrdx_bench_echo"), socket, std::to_string(request_bytes),
                                       std::to_string(reply_bytes)};
    arguments.insert(arguments.end(), program.begin(), program.end());
    return arguments;
}

double sum_of_fields(pid_t pid, const std::vector<std::string>& fields) {
    std::ifstream stream("/proc/" + std::to_string(pid) + "/smaps_rollup");
    double sum = 0;
    for (std::string line; std::getline(stream, line);)
        for (const std::string& field : fields)
            if (line.starts_with(field + ":"))
                sum += std::strtod(line.c_str() + field.size() + 1, nullptr);
    if (sum == 0)
        throw std::runtime_error("cannot read the memory of process " + std::to_string(pid));
    return sum;
}

} // namespace

measurement alternate(int rounds, const one_side& ours, const one_side& other) {
    measurement all;
    for (int round = 0; round < rounds; ++round) {
        const bool ours_first = round % 2 == 0;
        if (ours_first)
            add_values(all, &two_sides::ours, ours());
        add_values(all, &two_sides::other, other());
        if (!ours_first)
            add_values(all, &two_sides::ours, ours());
    }
    return all;
}

echo_server::echo_server(const work_directory& directory, std::size_t request_bytes, std::size_t reply_bytes,
                         const std::vector<std::string>& program)
    : socket_(directory.file("echo.sock")),
      program_(echo_arguments(socket_, request_bytes, reply_bytes, program)) {
    for (const std::uint64_t deadline = clock_ns() + patience_ns; !std::filesystem::exists(socket_);) {
        if (clock_ns() > deadline)
            throw std::runtime_error("the echo server does not start");
        sleep_ms(1);
    }
}

void sleep_ms(double milliseconds) {
    const auto ns = static_cast<long>(milliseconds * 1e6);
    const timespec time{ns / 1000000000, ns % 1000000000};
    nanosleep(&time, nullptr);
}

void wait_for(bench_board& board, const std::function<bool()>& condition) {
    const std::uint64_t deadline = clock_ns() + patience_ns;
    for (;;) {
        const std::uint32_t seen = board.events;
        if (condition())
            return;
        if (clock_ns() > deadline)
            throw std::runtime_error("a program does not do what it was asked for");
        wait_for_event(board, seen, 100);
    }
}

std::vector<double> middle_and_tail(const std::vector<double>& times) {
    return {percentile(times, 0.5), percentile(times, 0.99)};
}

double cpu_ns(pid_t pid) {
    std::ifstream stream("/proc/" + std::to_string(pid) + "/schedstat");
    double on_cpu = 0;
    if (!(stream >> on_cpu))
        throw std::runtime_error("cannot read the CPU time of process " + std::to_string(pid));
    return on_cpu;
}

double resident_kib(pid_t pid) {
    return sum_of_fields(pid, {"Rss"});
}

double private_kib(pid_t pid) {
    return sum_of_fields(pid, {"Private_Clean", "Private_Dirty"});
}

std::vector<pid_t> children_of(pid_t pid) {
    const std::string number = std::to_string(pid);
    std::ifstream stream("/proc/" + number + "/task/" + number + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; stream >> child;)
        children.push_back(child);
    return children;
}
