// A program that measures the rows of a plan and prints one table.
#pragma once

#include "plan.h"

// Reads the command line, measures, prints; the exit code. `what` and `name`: for its help.
int run_bench(const std::vector<planned_measurement>& plan, const char* what, const char* name, int argc,
              char** argv);
