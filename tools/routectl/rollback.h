// Takes that the driver rolled back because nobody confirmed them, as one who looks at its picture again and
// again can see it: a source that changes, and changes back when the time for the confirmation is over. Takes
// that come and go between two looks stay unseen, and somebody who takes the old source again after just this
// time looks the same.
#pragma once

#include "router_status.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

// When a look was asked for and answered (monotonic_us): the driver's picture is from a moment between the
// two.
struct look_time {
    std::uint64_t asked = 0;
    std::uint64_t answered = 0;
};

struct rollback {
    std::size_t output; // 1 or more
    crosspoint taken;
    crosspoint kept; // what it shows again
};

struct source_change {
    crosspoint before;
    std::uint64_t earliest; // the change happened between the two (monotonic_us)
    std::uint64_t latest;
};

struct rollback_tracker {
    std::optional<router_status> shown; // at the last look; empty: none yet, or no router
    look_time last;
    std::map<std::size_t, source_change> changes; // the latest of each output, by its index
};

// Takes in what a look showed, and gives the takes that were rolled back since the one before.
std::vector<rollback> rollbacks_seen(rollback_tracker* tracker, const std::optional<router_status>& shown,
                                     look_time now);
