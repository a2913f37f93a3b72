// The result of a check, for people and for programs.
#pragma once

#include "run_checks.h"

#include <string>
#include <vector>

// One line per check as it is made, "ok", "FAIL" or "skip" in front, and one per note.
void print_line(const checked& one);

// The closing line: how many of each.
void print_summary(const std::vector<checked>& all);

// Everything as one JSON object.
void print_json(const conversation& talk, const std::vector<checked>& all);

// True when nothing failed.
bool all_passed(const std::vector<checked>& all);
