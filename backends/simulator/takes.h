// Takes: collected one by one, executed together by a flush, at once or after the router's delay.
#pragma once

#include "simulator.h"

#include <cstdint>
#include <optional>

// Handles "route output": "queue" is "add" or "flush".
void route_output(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now,
                  reaction& reaction);

// Executes the flushes that are due at `now`, the earliest first, and reports each in one message.
void run_due_flushes(simulator& simulator, std::uint64_t now, reaction& reaction);

// When the next flush is due; nothing when none is under way.
std::optional<std::uint64_t> next_due_time(const simulator& simulator);
