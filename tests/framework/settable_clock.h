// Clocks that a test sets, so that an hour passes at once: what monotonic_us() and boot_ms() answer.
#pragma once

#include <cstdint>

extern std::uint64_t settable_clock_us;
extern std::uint64_t settable_boot_ms;

constexpr std::uint64_t second_us = 1000000;
