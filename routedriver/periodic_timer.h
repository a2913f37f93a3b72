// Timers of the loop: they fire once per period, and periods that were missed are not made up for.
#pragma once

#include <cstdint>

// True when `now` is at or past *next; *next is then one period on, or one period from now if that is still
// in the past. All in microseconds.
inline bool periodic_timer_due(std::uint64_t* next, std::uint64_t period, std::uint64_t now) {
    if (now < *next)
        return false;
    *next += period;
    if (*next < now)
        *next = now + period;
    return true;
}
