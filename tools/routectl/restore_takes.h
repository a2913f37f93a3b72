// The takes of a snapshot, carried through a restart of the driver.
#pragma once

#include "driver_link.h"
#include "snapshot.h"
#include "take_check.h"

#include <vector>

// Like take_and_check for the snapshot's takes, except that a driver that goes away meanwhile is waited for,
// six times link->timeout_us at the most; when it and a router large enough are back, all takes are sent
// again, as nobody knows which of them the old driver still handed on. That is told on standard error. When
// nothing comes back the result is exit_no_driver, and *results holds every output as one that may not have
// followed.
int restore_takes(driver_link* link, const snapshot& one, std::vector<take_result>* results);
