// The router model: the picture of the router that this driver controls (picture.h), what waits for its
// backend (pending.h), the planning of takes, which leads from one to the other, and what becomes of takes
// (takes.h).
//
// Inside the driver inputs and outputs are 0-based and -1 means no source. The backend's reports change the
// picture (backend/), the planner shows takes at once, and clients read it (client/). Nothing here knows of
// the modules around it.
#pragma once

#include "pending.h"
#include "picture.h"
#include "takes.h"

extern bool dbg_nochg_assume; // never show a take before the backend reports it; set at start-up

// Turns all waiting requests into commands to the backend, closed by one flush, and shows them at once with a
// deadline for the confirmation. Does nothing while no backend runs: requests wait.
void plan_route_changes();

// Asks the backend to report its outputs and its inputs.
void request_router_report();
