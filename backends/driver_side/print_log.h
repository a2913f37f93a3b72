// Writes log lines to the driver.
#pragma once

#include "log_lines.h"

#include <string>

// Writes `line` and a line feed to standard error. Waits for a driver that is slow to read, but no longer
// than a second. Then the line is dropped, and later lines are dropped without waiting until one can be
// written again. SIGPIPE must be ignored: a log that nobody reads any more is dropped.
void print_log_line(std::string line);

// Prints all lines of `log` and empties it.
void print_log(log_lines& log);
