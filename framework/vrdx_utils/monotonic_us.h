// The clock of all deadlines.
#pragma once

#include <cstdint>

// The monotonic clock in microseconds. Every deadline and period is such a count.
// When the clock cannot be read: 18446744073709551, so that deadlines never pass.
// Pure parts call nothing else to wait; a test that sets the clock defines this function itself.
std::uint64_t monotonic_us();
