// Whether the router followed: what was asked for against what "status" shows.
#pragma once

#include "route_argument.h"
#include "router_status.h"

#include <optional>
#include <string>
#include <vector>

struct take_result {
    int output;
    crosspoint asked;
    std::optional<crosspoint> shown; // empty: the status does not show this output
    std::string problem;             // one line, empty when the output shows what was asked
};

// One result per output, in the order of the outputs; of several takes of one output the last counts.
std::vector<take_result> check_takes(const std::vector<take>& takes, const router_status& status);

bool all_confirmed(const std::vector<take_result>& results);
