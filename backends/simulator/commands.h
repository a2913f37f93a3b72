// What the simulator does with the driver's messages.
#pragma once

#include "simulator.h"

// Handles one message from the driver, at the time `now` (microseconds, monotonic).
void handle_message(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now,
                    reaction& reaction);
