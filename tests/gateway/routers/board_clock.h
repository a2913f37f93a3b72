// The clock of these tests: the real one, which a test may push forward.
#pragma once

#include <cstdint>

extern std::uint64_t clock_pushed_us;
