// The commands of a session, with their text.
#pragma once

#include "session.h"

// One that needs nothing but its letter.
router_command plain_command(command_kind kind);

// Reads the state of all outputs.
router_command status_command(const session& session);

// Reads some outputs, 1-based; all of them when the router cannot tell them singly, or did not say that it
// can.
router_command verify_command(const session& session, const std::vector<int>& outputs);
