// Names of a snapshot, brought back.
#pragma once

#include "driver_link.h"
#include "snapshot.h"

// Sets the names that are other ones than in `picture`, and waits until the router shows them. exit_done, or
// the exit code after telling which inputs and outputs have not followed until the timeout.
int restore_names(driver_link* link, const snapshot& one, const vrdx::router_picture& picture);
