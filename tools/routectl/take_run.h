// Sends takes to the driver, and tells what became of each.
#pragma once

#include "driver_link.h"
#include "take_plan.h"

struct take_outcome {
    planned_take asked;
    vrdx::take_result result;
    std::optional<level_sources> shown; // looked at after a failure; empty: not looked at
};

// The time that so many takes get, in milliseconds: a backend is sent about a hundred messages in a second,
// and a take is up to two.
unsigned time_for_takes(std::size_t takes);

// Enters what outputs show that did not get their source. What is shown for a take that the router has not
// confirmed says nothing about the router.
void enter_shown(const router_picture& now, std::vector<take_outcome>* outcomes);

// Sends all takes in one packet and waits until the driver has decided each. exit_done with *outcomes filled,
// in the order of the takes; else the exit code with the reason in link->problem: then the takes may or may
// not have been done, unless *sent is false.
int carry_out(driver_link* link, const std::vector<planned_take>& plan, const std::string& by,
              std::vector<take_outcome>* outcomes, bool* sent);

// Why an output did not get its source, in one line.
std::string outcome_text(const take_outcome& outcome, const router_picture& picture);

bool all_confirmed(const std::vector<take_outcome>& outcomes);

// {"confirmed": false, "outputs": [{"output": 1, "name": "...", "asked": {...}, "confirmed": false,
// "result": "refused", "text": "no backend", "shown": {...}}]}
json_object json_of_outcomes(const std::vector<take_outcome>& outcomes, const router_picture& picture);

// Carries the takes out and tells what became of them, as JSON or as one line on standard error for each
// output that did not follow. The exit code, with *outcomes empty when there was no answer.
int run_and_tell(driver_link* link, const invocation& call, const std::vector<planned_take>& plan,
                 const router_picture& picture, std::vector<take_outcome>* outcomes);

// One "route" packet with all takes.
comm_socket_v4_packet route_request(const std::vector<output_take>& takes);

// Looks at the router until none of these outputs waits for a confirmation, or until the timeout.
// exit_done with *picture of the last look.
int settle(driver_link* link, const std::vector<int>& outputs, router_picture* picture);
