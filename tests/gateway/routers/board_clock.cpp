#include "board_clock.h"

#include "monotonic_us.h"

#include <ctime>

std::uint64_t clock_pushed_us = 0;

std::uint64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000 +
           clock_pushed_us;
}
