// The messages of the event stream. docs/api.md describes them.
#pragma once

#include "router_json.h"

namespace gateway {

using shared_text = std::shared_ptr<const std::string>;

// Inputs and outputs of these numbers, whole. Stops behind `most_bytes` at the latest with the place that
// passes them, and leaves in *inputs and *outputs the numbers that are not in it; those beyond the sizes are
// dropped.
shared_text change_text(const shown_router& router, const router_locks* locks, std::vector<int>* inputs,
                        std::vector<int>* outputs, std::size_t most_bytes);

// Its state; null for one that is gone.
shared_text router_text(const std::string& name, const shown_router* router);

shared_text take_text(const shown_router& router, const vrdx::take_record& record);

// How many takes were decided that this reader was not told of.
shared_text lost_text(const std::string& router, std::uint64_t takes);

shared_text alive_text(std::uint64_t ms_since_1970);

// A locked output changed all the same.
struct lock_alarm {
    int output = 0;
    vrdx::level_sources before, now;
    bool while_away = false; // it happened while this gateway did not run
};
shared_text alarm_text(const shown_router& router, const lock_alarm& alarm, const output_lock& lock,
                       std::uint64_t ms_since_1970);

} // namespace gateway
