// Well-behaved clients at work, each on its own thread, and how long their requests lasted.
#pragma once

#include "monotonic_us.h"
#include "test_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

// What clients saw during one or more spans of time.
struct load_sample {
    std::vector<std::uint64_t> times_us; // of each request that was answered, in no order
    std::size_t lost = 0;                // no reply, or a wrong one

    void add(const load_sample& other) {
        times_us.insert(times_us.end(), other.times_us.begin(), other.times_us.end());
        lost += other.lost;
    }
    // 0 without any request.
    [[nodiscard]] std::uint64_t percentile_us(std::size_t percent) const {
        if (times_us.empty())
            return 0;
        std::vector<std::uint64_t> sorted = times_us;
        const auto place = static_cast<std::ptrdiff_t>(sorted.size() * percent / 100);
        std::nth_element(sorted.begin(), sorted.begin() + place, sorted.end());
        return sorted[static_cast<std::size_t>(place)];
    }
};

// One client's requests until `end`: mostly statuses, now and then a take of output `number`, at uneven
// times, or all clients would ask in step and measure each other.
inline load_sample work_of_a_client(const std::string& socket_path, std::size_t number,
                                    std::chrono::steady_clock::time_point end) {
    load_sample seen;
    std::minstd_rand random(static_cast<std::minstd_rand::result_type>(number));
    try {
        test_client client(socket_path);
        while (std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 100)); // the load, not a wait
            const bool takes = random() % 10 == 0;
            const std::uint64_t start = monotonic_us();
            const test_reply reply = takes ? client.route(std::to_string(number) + "=1") : client.status();
            seen.times_us.push_back(monotonic_us() - start);
            seen.lost += reply.command == (takes ? "route" : "status") && reply.result == 0 ? 0U : 1U;
        }
    } catch (const std::exception&) {
        ++seen.lost;
    }
    return seen;
}

// `clients` at work for `duration`, each about twenty times a second.
inline load_sample measure_load(const std::string& socket_path, std::size_t clients,
                                std::chrono::milliseconds duration) {
    std::vector<load_sample> seen(clients);
    std::vector<std::thread> threads;
    const auto end = std::chrono::steady_clock::now() + duration;
    for (std::size_t i = 0; i < clients; ++i)
        threads.emplace_back([&, i] { seen[i] = work_of_a_client(socket_path, i + 1, end); });
    for (std::thread& thread : threads)
        thread.join();
    load_sample all;
    for (const load_sample& one : seen)
        all.add(one);
    return all;
}
