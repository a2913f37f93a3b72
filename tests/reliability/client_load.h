// Well-behaved clients at work, each on its own thread, and how long their requests took.
#pragma once

#include "monotonic_us.h"
#include "test_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

struct load_figures {
    std::size_t requests = 0;
    std::size_t lost = 0; // no reply, or a wrong one
    std::uint64_t median_us = 0;
    std::uint64_t p99_us = 0;
};

// `clients` ask for `duration`, each every 50 ms: mostly statuses, now and then a take of an output of its
// own.
inline load_figures measure_load(const std::string& socket_path, int clients,
                                 std::chrono::milliseconds duration) {
    std::vector<std::vector<std::uint64_t>> times(static_cast<std::size_t>(clients));
    std::atomic<std::size_t> lost = 0;
    std::vector<std::thread> threads;
    const auto end = std::chrono::steady_clock::now() + duration;
    for (std::size_t number = 0; number < times.size(); ++number)
        threads.emplace_back([&, number] {
            try {
                test_client client(socket_path);
                const std::string take = std::to_string(number + 1) + "=1";
                for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
                    const std::string command = i % 10 == 9 ? "route" : "status";
                    const std::uint64_t start = monotonic_us();
                    const test_reply reply = i % 10 == 9 ? client.route(take) : client.status();
                    times[number].push_back(monotonic_us() - start);
                    lost += reply.command == command && reply.result == 0 ? 0 : 1;
                    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the load, not a wait
                }
            } catch (const std::exception&) {
                ++lost;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    std::vector<std::uint64_t> all;
    for (const auto& one : times)
        all.insert(all.end(), one.begin(), one.end());
    std::sort(all.begin(), all.end());
    if (all.empty())
        return {.lost = lost};
    return {all.size(), lost, all[all.size() / 2], all[all.size() * 99 / 100]};
}
