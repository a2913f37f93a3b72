// Names that clients give to inputs and outputs: the router's labels.
#pragma once

#include "conversation.h"

// Handles "router set": "input.N.name" and "output.N.name" are sent to the router; other properties and
// numbers that do not exist are skipped. The driver is told once the router has told.
void set_labels(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                std::uint64_t now);
