// Takes that the router has not answered yet. While a take is awaited, the source of its output is not
// reported to the driver: the driver would mistake the old source for the answer. Outputs are 0-based; levels
// and sources have the protocol's own numbers. Times are monotonic microseconds.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>

struct awaited_output {
    std::map<int, int> wanted;  // level to source: what the router has not shown yet
    std::uint64_t deadline = 0; // the end of the wait
    bool seen = false;          // the router has shown another source since; the right one may still follow
    bool refused = false;       // whatever the router shows next ends the wait
};

using awaited_takes = std::map<int, awaited_output>; // by output

// Waits for one crosspoint, in addition to the other levels of its output that are awaited.
void await_take(awaited_takes& awaited, int output, int level, int source, std::uint64_t deadline);

// Notes what the router has shown; no `source`: the output does not have this level, so it is not waited for
// any more. True when nothing is left to wait for; the output is then no longer in `awaited`.
bool note_shown(awaited_takes& awaited, int output, int level, std::optional<int> source);

// True when the output is still awaited to show this source on this level.
bool is_awaited(const awaited_takes& awaited, int output, int level, int source);

struct expired_takes {
    std::set<int> silent;       // the router has shown nothing of these outputs
    std::set<int> contradicted; // it has shown something else
};

// Ends the waits whose deadline has passed.
expired_takes expire_awaited(awaited_takes& awaited, std::uint64_t now);

// The earliest deadline; the largest number when there is none.
std::uint64_t next_awaited_deadline(const awaited_takes& awaited);
