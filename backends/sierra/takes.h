// The driver's takes as crosspoints of the router, and back.
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

// The reverse: the driver's takes, from crosspoints that were planned.
endpoint_takes asked_takes(const std::vector<crosspoint_take>& planned, const level_groups& groups);

// True when `take` switches the crosspoint (output, level), level 0 standing for all.
bool touches(const crosspoint_take& take, int output, int level);

// Waits for the crosspoints of `takes`, in addition to the others that are awaited.
void await_takes(awaited_takes& awaited, const std::vector<crosspoint_take>& takes, int levels,
                 std::uint64_t deadline);

// The part of `takes` that the router has not shown yet.
std::vector<crosspoint_take> not_shown(const awaited_takes& awaited,
                                       const std::vector<crosspoint_take>& takes);
