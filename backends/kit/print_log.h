// Log lines on their way to the driver.
#pragma once

#include "log_lines.h"

#include <string>

// Writes `line` and a line feed to standard error. Waits while the driver is slow to read, so that no line is
// lost; a log that nobody reads any more is dropped.
void print_log_line(std::string line);

// Prints all lines of `log` and empties it.
void print_log(log_lines& log);
