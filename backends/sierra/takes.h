// Takes as the driver asks for them, and what the router is told for them.
#pragma once

#include "levels.h"
#include "requests.h"
#include "router_picture.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

enum class take_control { both, video, audio };

// A take as the driver numbers it.
struct asked_take {
    take_control control = take_control::both;
    int output = 0;  // 0-based
    int source = -1; // 0-based; -1: none
};

// What is wrong with `take` on this router; empty when nothing is.
std::string fault_of_take(const asked_take& take, const router_picture& picture, const level_groups& groups);

// Appends the crosspoints of a take without fault. A take of both levels switches the levels of both groups,
// as one crosspoint of level 0 when these are all levels there are; a later take replaces an earlier one of
// the same crosspoint.
void plan_take(const asked_take& take, const level_groups& groups, std::vector<crosspoint_take>& planned);

// True when `take` switches the crosspoint (output, level), level 0 standing for all.
bool touches(const crosspoint_take& take, int output, int level);

// A take under way: the driver hears of its output when the router has told every crosspoint of it, or when
// the time is over; a report with another source may come before the right one.
struct awaited_output {
    std::map<int, int> wanted;  // level to source, 1-based; what the router has not shown yet
    std::uint64_t deadline = 0; // microseconds
    bool seen = false;          // the router spoke of the output since
    bool refused = false;       // the router said ERROR: whatever it shows next ends the wait
};

using awaited_outputs = std::map<int, awaited_output>; // by output, 1-based

// Waits for the crosspoints of `takes`, besides or instead of those that were awaited before.
void await_takes(awaited_outputs& awaited, const std::vector<crosspoint_take>& takes, int levels,
                 std::uint64_t deadline);

// Takes note of what the router has shown. True when nothing is left to wait for at this output.
bool note_shown(awaited_outputs& awaited, const seen_crosspoint& shown);

// The part of `takes` that the router has not shown yet.
std::vector<crosspoint_take> not_shown(const awaited_outputs& awaited,
                                       const std::vector<crosspoint_take>& takes);
