// What more of everything costs: clients that stay silent, outputs, drivers on one machine.
#include "measure.h"
#include "requests.h"
#include "statistics.h"

#include <csignal>
#include <deque>
#include <memory>
#include <numeric>

namespace {

constexpr int trips_per_round = 2000;
constexpr router_size small{16, 16};

double middle_trip(const load_target& target) {
    return median(round_trips(target, trips_per_round));
}

void add_round(measurement& all, std::size_t row, double ours, double other) {
    all[row].ours.push_back(ours);
    all[row].other.push_back(other);
}

// --- a hundred drivers -------------------------------------------------------------------------------------

constexpr int drivers_with_simulator = 99; // and one whose backend stamps
constexpr double cpu_window_ms = 1000;
constexpr double settle_ms = 200;
constexpr int takes_per_round = 50;

using driver_crowd = std::deque<std::unique_ptr<running_driver>>;

void signal_all(const driver_crowd& drivers, int signo) {
    for (const auto& driver : drivers)
        kill(driver->pid(), signo);
}

// Of the drivers and their backends.
std::vector<pid_t> processes(const driver_crowd& drivers) {
    std::vector<pid_t> all;
    for (const auto& driver : drivers) {
        all.push_back(driver->pid());
        for (const pid_t backend : children_of(driver->pid()))
            all.push_back(backend);
    }
    return all;
}

double sum_over(const std::vector<pid_t>& pids, double (*measured)(pid_t)) {
    return std::accumulate(pids.begin(), pids.end(), 0.0,
                           [&](double sum, pid_t pid) { return sum + measured(pid); });
}

double cpu_per_second(const std::vector<pid_t>& pids) {
    const double before = sum_over(pids, cpu_ns);
    sleep_ms(cpu_window_ms);
    return (sum_over(pids, cpu_ns) - before) / cpu_window_ms;
}

} // namespace

measurement measure_client_growth(int rounds) {
    const shared_processor processor;
    const work_directory directory;
    const running_driver driver(directory, "clients", "route_simulator", small);
    const load_target target = status_target(driver.socket());
    constexpr std::size_t silent_clients[] = {1, 10, 100, 750};
    measurement all(std::size(silent_clients) - 1);
    for (int round = 0; round < rounds; ++round) {
        std::deque<load_connection> silent;
        std::vector<double> times;
        for (const std::size_t count : silent_clients) {
            while (silent.size() < count)
                round_trip(silent.emplace_back(target.socket), target); // it is accepted before it is silent
            times.push_back(middle_trip(target));
        }
        for (std::size_t i = 1; i < times.size(); ++i)
            add_round(all, i - 1, times[i], times[0]);
    }
    return all;
}

// The rows between compare with the straight line from the smallest router to the largest.
measurement measure_output_growth(int rounds) {
    const shared_processor processor;
    const work_directory directory;
    constexpr int outputs[] = {1, 16, 64, 128};
    std::vector<load_target> targets;
    driver_crowd drivers;
    for (const int count : outputs) {
        drivers.push_back(std::make_unique<running_driver>(directory, "outputs" + std::to_string(count),
                                                           "route_simulator",
                                                           router_size{small.inputs, count}));
        targets.push_back(status_target(drivers.back()->socket()));
    }
    measurement all(2);
    for (int round = 0; round < rounds; ++round) {
        std::vector<double> times;
        times.reserve(targets.size());
        for (const load_target& target : targets)
            times.push_back(middle_trip(target));
        const double per_output = (times[3] - times[0]) / (outputs[3] - outputs[0]);
        for (const std::size_t between : {1U, 2U})
            add_round(all, between - 1, times[between],
                      times[0] + per_output * (outputs[between] - outputs[0]));
    }
    return all;
}

// One driver alone is one while the others are stopped; with the others it is one of a hundred.
measurement measure_hundred_drivers(int rounds) {
    const work_directory directory;
    driver_crowd others;
    for (int i = 0; i < drivers_with_simulator; ++i)
        others.push_back(std::make_unique<running_driver>(directory, "crowd" + std::to_string(i),
                                                          "route_simulator", small));
    driver_crowd alone;
    alone.push_back(std::move(others.front()));
    others.pop_front();
    const running_driver taken(directory, "taken", "route_bench", small);
    const std::vector<pid_t> one = processes(alone);
    std::vector<pid_t> all = processes(others);
    all.insert(all.end(), one.begin(), one.end());
    all.push_back(taken.pid());
    all.push_back(taken.board().backend);

    const auto together = [&] {
        sleep_ms(settle_ms);
        const double cpu = cpu_per_second(all);
        return std::vector<double>{cpu, sum_over(all, resident_kib),
                                   percentile(take_times(taken, takes_per_round), 0.99)};
    };
    const auto one_alone = [&] {
        signal_all(others, SIGSTOP);
        kill(taken.pid(), SIGSTOP);
        sleep_ms(settle_ms);
        const double cpu = cpu_per_second(one);
        kill(taken.pid(), SIGCONT);
        signal_all(alone, SIGSTOP);
        sleep_ms(settle_ms);
        const double tail = percentile(take_times(taken, takes_per_round), 0.99);
        signal_all(alone, SIGCONT);
        signal_all(others, SIGCONT);
        return std::vector<double>{cpu, sum_over(one, resident_kib), tail};
    };
    return alternate(rounds, together, one_alone);
}
