// The clock of the tests that need to pass an hour in no time: monotonic_us() answers this.
#pragma once

#include <cstdint>

extern std::uint64_t settable_clock_us;
