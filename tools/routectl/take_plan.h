// What takes would change on the router.
#pragma once

#include "json_output.h"
#include "take_words.h"

struct planned_take {
    int output = 0;
    level_sources before; // as shown
    level_sources after;
    bool guarded = false; // only where `before` is still shown and confirmed
};

// What the wanted takes mean on this router. A take of one level is guarded, so that the other level keeps
// what it shows. Empty with *error when a level to be kept is not known.
std::vector<planned_take> plan_takes(const std::vector<wanted_take>& wanted, const router_picture& picture,
                                     std::string* error);

// The outputs on which only one level is to change.
std::vector<int> one_level_outputs(const std::vector<wanted_take>& wanted);

// "output 3 "Monitor 3": 1 "Cam 1" -> 2 "Cam 2"", or "... stays 2 "Cam 2"", a line for each.
std::string plan_text(const std::vector<planned_take>& plan, const router_picture& picture);

// {"dry run": true, "outputs": [{"output": 3, "name": "...", "before": {...}, "after": {...}}]}
json_object json_of_plan(const std::vector<planned_take>& plan, const router_picture& picture);

// Prints one of the two.
void print_plan(bool json, const std::vector<planned_take>& plan, const router_picture& picture);
