#include "beats.h"

#include "site_limits.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <random>

namespace gateway {

std::string new_run() {
    std::random_device random;
    const std::uint64_t number = (static_cast<std::uint64_t>(random()) << 32U) ^ random();
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016" PRIx64, number);
    return text.data();
}

std::string beat_problem(const site_beat& carried, std::uint64_t now_ms) {
    if (carried.ms > now_ms)
        return "its beat is none of the gateway there";
    if (now_ms - carried.ms > beat_limit_ms)
        return "it came too late: its beat is " + std::to_string(now_ms - carried.ms) + " ms old, and " +
               std::to_string(beat_limit_ms) + " ms are possible";
    return {};
}

} // namespace gateway
