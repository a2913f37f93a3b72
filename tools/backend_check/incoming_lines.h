// What the program under check writes, line by line.
#pragma once

#include "conversation.h"

// One line of its standard output: collected, counted, and given to the driver's report parser.
void hear_output_line(conversation& talk, const std::string& line);

// One line of its standard error.
void hear_log_line(conversation& talk, const std::string& line);

// Counts one more, and keeps `example` if it is the first.
void add_finding(finding& what, const std::string& example);
