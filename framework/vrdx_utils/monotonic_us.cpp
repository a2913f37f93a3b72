#include "monotonic_us.h"

#include <ctime>
#include <limits>

std::uint64_t monotonic_us() {
    timespec now{};
    std::uint64_t nanoseconds = std::numeric_limits<std::uint64_t>::max();
    if (clock_gettime(CLOCK_MONOTONIC, &now) == 0)
        nanoseconds =
            static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
    return nanoseconds / 1000;
}
