// What the router says, and what it means to the conversation.
#pragma once

#include "session.h"

// Handles the string that session.reader has completed.
void hear_string(session& session, std::uint64_t now);

// The command `done` has been answered; `parts` is its answer. A status may end without one: empty.
void finish_command(session& session, const router_command& done, const std::vector<reply>& parts,
                    std::uint64_t now);

// Looks whether bytes came outside of strings.
void note_stray_bytes(session& session, std::uint64_t now);
