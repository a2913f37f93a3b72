// Sets the names of a snapshot again.
#pragma once

#include "driver_link.h"
#include "snapshot.h"

// Sets the names that differ from those in `picture`, and waits until the router shows them. Returns
// exit_done, or the exit code after telling which inputs and outputs do not show their names at the timeout.
int restore_names(driver_link* link, const snapshot& one, const vrdx::router_picture& picture);
