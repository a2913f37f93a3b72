#include "settable_clock.h"

#include "boot_ms.h"
#include "monotonic_us.h"

std::uint64_t settable_clock_us = 1000000000;
std::uint64_t settable_boot_ms = 5000000;

std::uint64_t monotonic_us() {
    return settable_clock_us;
}

std::uint64_t boot_ms() {
    return settable_boot_ms;
}
