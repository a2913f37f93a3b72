// How long to wait before the next attempt to reach a router. Pure: the caller brings the chance.
#pragma once

#include <cstdint>

struct reconnect_delay {
    std::uint64_t first_us = 500000;     // after the first failure
    std::uint64_t longest_us = 10000000; // the doubling ends here
    std::uint64_t nominal_us = 0;        // of the last wait; 0: nothing has failed yet
};

// The next wait in microseconds: its nominal length is first_us, then twice the one before, at most
// longest_us; shortened by up to a quarter, so that many backends do not come back in step. `chance` is 0..1.
std::uint64_t next_reconnect_delay(reconnect_delay& delay, double chance);

// The next wait is the first one again.
void reset_reconnect_delay(reconnect_delay& delay);
