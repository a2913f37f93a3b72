// What "watch" prints.
#pragma once

#include "watch_lines.h"

// Prints the line with the time of now, or as JSON. False when nobody can read on.
bool print_watch_line(bool json, const watch_line& line);
