// Takes on their way to the driver, and what became of them.
#pragma once

#include "driver_link.h"
#include "invocation.h"
#include "take_check.h"

#include <vector>

// One "route" packet with all takes, so that they are planned together.
comm_socket_v4_packet route_request(const std::vector<take>& takes);

// Sends the takes, waits until the driver has given up on those that the router did not confirm, and looks;
// again for a while when there are many. exit_done with *results filled, else the exit code, and the reason
// is in link->problem.
int take_and_check(driver_link* link, const std::vector<take>& takes, std::vector<take_result>* results);

// Prints the results as JSON if so asked, and a line for each output that does not show what was asked. The
// exit code.
int tell_results(const invocation& call, const std::vector<take_result>& results);
