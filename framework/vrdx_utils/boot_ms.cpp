#include "boot_ms.h"

#include <ctime>
#include <limits>

std::uint64_t boot_ms() {
    timespec now{};
    std::uint64_t nanoseconds = std::numeric_limits<std::uint64_t>::max();
    if (clock_gettime(CLOCK_BOOTTIME, &now) == 0)
        nanoseconds =
            static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
    return nanoseconds / 1000000;
}
