// Takes between the moment they are asked for and the router's word on them. While one is awaited the driver
// is told nothing of its output's source: the source from before would count as the answer. Outputs are
// 0-based; levels and sources carry the protocol's own numbers. Times are monotonic microseconds.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>

struct awaited_output {
    std::map<int, int> wanted;  // level to source: what the router has not shown yet
    std::uint64_t deadline = 0; // the wait is over then
    bool seen = false;          // the router has shown another source meanwhile; the right one may follow
    bool refused = false;       // whatever the router shows next ends the wait
};

using awaited_takes = std::map<int, awaited_output>; // by output

// Waits for one crosspoint, besides or instead of what was awaited of its output before.
void await_take(awaited_takes& awaited, int output, int level, int source, std::uint64_t deadline);

// Takes note of what the router has shown; no `source`: this level of the output does not exist, which
// settles it. True when nothing is left to wait for: the output is not awaited any more.
bool note_shown(awaited_takes& awaited, int output, int level, std::optional<int> source);

// True when this crosspoint is still waited for, with this source.
bool is_awaited(const awaited_takes& awaited, int output, int level, int source);

struct expired_takes {
    std::set<int> silent;       // the router has shown nothing of these outputs
    std::set<int> contradicted; // it has shown something else
};

// Ends the waits whose time is over.
expired_takes expire_awaited(awaited_takes& awaited, std::uint64_t now);

// The earliest deadline; the largest number when there is none.
std::uint64_t next_awaited_deadline(const awaited_takes& awaited);
