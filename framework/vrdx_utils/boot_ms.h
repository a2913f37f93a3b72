// The clock that goes on while the machine sleeps.
#pragma once

#include <cstdint>

// CLOCK_BOOTTIME in milliseconds: the same for all programs of a machine. For moments that one program tells
// another one; whoever only waits uses monotonic_us().
// When the clock cannot be read: 18446744073709, so that whatever has an end is over.
std::uint64_t boot_ms();
