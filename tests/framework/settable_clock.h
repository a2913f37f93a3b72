// The clocks of the tests that need to pass an hour in no time: what monotonic_us() and boot_ms() answer.
#pragma once

#include <cstdint>

extern std::uint64_t settable_clock_us;
extern std::uint64_t settable_boot_ms;
