// What the driver is told. Only what the router has told since the connection was made, the routing once the
// state is read; a source that the router does not know then is none. Outputs whose takes are under way are
// left out, since what they show is about to change.
#pragma once

#include "session.h"

// The size, the names and, once it is read, the routing.
void report_all(session& session, reaction& reaction);

// The answers to the driver's questions; nothing while the size is not known.
void report_inputs(const session& session, reaction& reaction);
void report_outputs(const session& session, reaction& reaction);

// The routing of the outputs that have changed.
void report_changed(session& session, reaction& reaction);

// "levels VIDEO (video), AudioL (audio)", for a log line.
std::string level_text(const router_picture& picture, const level_groups& groups);
