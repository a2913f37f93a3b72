// What the router is told for the driver's takes.
#pragma once

#include "awaited_takes.h"
#include "endpoint_requests.h"
#include "levels.h"
#include "sierra_requests.h"

#include <vector>

// Appends the crosspoints of a take. A take of both levels switches the levels of both groups, as one
// crosspoint of level 0 when these are all levels there are; a later take replaces an earlier one of the same
// crosspoint.
void plan_take(const endpoint_take& take, const level_groups& groups, std::vector<crosspoint_take>& planned);

// The way back: what the driver asked for, from crosspoints that were planned.
endpoint_takes asked_takes(const std::vector<crosspoint_take>& planned, const level_groups& groups);

// True when `take` switches the crosspoint (output, level), level 0 standing for all.
bool touches(const crosspoint_take& take, int output, int level);

// Waits for the crosspoints of `takes`, besides or instead of those that were awaited before.
void await_takes(awaited_takes& awaited, const std::vector<crosspoint_take>& takes, int levels,
                 std::uint64_t deadline);

// The part of `takes` that the router has not shown yet.
std::vector<crosspoint_take> not_shown(const awaited_takes& awaited,
                                       const std::vector<crosspoint_take>& takes);
