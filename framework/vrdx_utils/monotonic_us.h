// The one clock of the system.
#pragma once

#include <cstdint>

// The monotonic clock in microseconds. Every deadline and period is such a count.
// When the clock cannot be read: 18446744073709551, so that deadlines never pass.
// Pure parts call nothing else for time; a test that sets the clock defines this function itself.
std::uint64_t monotonic_us();
