// What is reported to the driver: only what the router has told since the connection was made.
#pragma once

#include "session.h"

// The size has been read, or its levels are grouped otherwise: announces the router, its names and, once it
// is ready, its routing.
void show_router(session& session);

// The names of all ports, also of those without one: the driver may still hold those of another router.
void show_names(session& session);

// The sources of one output, 1-based.
void show_routing(session& session, int output);

// "levels VIDEO (video), AudioL (audio)", for a log line.
std::string level_text(const sierra_picture& picture, const level_groups& groups);
