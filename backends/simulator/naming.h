// Names of inputs and outputs as clients change them.
#pragma once

#include "simulator.h"

// Handles "router set": its fields are "output.N.name" and "input.N.name", N 0-based.
void set_properties(simulator& simulator, const TavrixAPIRouterMessage& message, reaction& reaction);
