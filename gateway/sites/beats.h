// Beats: how the owner of a router knows that a take was asked for just now.
//
// A site says its beat twice a second: its own clock, and which run of its gateway it is. Who asks it for a
// take gives the newest beat back that he has heard. A take that lay somewhere on the way, in a stopped
// process, a half-open connection or a broker that stood still, comes with an old one and is refused.
#pragma once

#include "boot_ms.h"

#include <cstdint>
#include <string>

namespace gateway {

struct site_beat {
    std::string run;      // of the gateway, new with each start
    std::uint64_t ms = 0; // of its boot_ms()

    bool operator==(const site_beat&) const = default;
};

// A text for one run of this program: 16 hexadecimal digits.
std::string new_run();

// Why a take with the beat `carried`, of this run, does nothing at `now_ms`; "" when it may.
std::string beat_problem(const site_beat& carried, std::uint64_t now_ms);

} // namespace gateway
