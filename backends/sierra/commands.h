// The commands of a session, with their text.
#pragma once

#include "session.h"

// A command that is only its letter.
router_command plain_command(command_kind kind);

// Reads the state of all outputs.
router_command status_command(const session& session);

// Reads some outputs, 1-based; all outputs when the router cannot report single ones, or has not said that it
// can.
router_command verify_command(const session& session, const std::vector<int>& outputs);
