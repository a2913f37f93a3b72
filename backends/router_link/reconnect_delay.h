// How long to wait before the next attempt to reach a router. No clock and no random numbers in here: the
// caller passes a random number.
#pragma once

#include <cstdint>

struct reconnect_delay {
    std::uint64_t first_us = 500000;     // after the first failure
    std::uint64_t longest_us = 10000000; // the doubling ends here
    std::uint64_t nominal_us = 0;        // of the last wait; 0: nothing has failed yet
};

// The next wait in microseconds: its nominal length is first_us, then twice the one before, at most
// longest_us; shortened by up to a quarter, so that many backends do not all try at the same moment. `chance`
// is a random number from 0 to 1: 1 shortens the most.
std::uint64_t next_reconnect_delay(reconnect_delay& delay, double chance);

// Makes the next wait as short as the first one.
void reset_reconnect_delay(reconnect_delay& delay);
