// The router as a table for people.
#pragma once

#include "router_status.h"

#include <string>

// One line with the router's size, the heads of the columns, and a line for each output: number, name, and
// the audio and the video source with their names; one source column when both levels are the same on all
// outputs. No line is wider than `width` (at least 40) columns: wide names are cut. `bold` marks the heads.
std::string status_table(const router_status& status, std::size_t width, bool bold);
