// The whole check: starts the program, makes every check in order, and leaves no child behind.
#pragma once

#include "checks.h"

struct checked {
    std::string name;
    check_outcome result;
};

// Calls `tell` after each check. 0, or the errno value with which the program could not be started the first
// time; nothing was checked then.
int run_checks(conversation& talk, const std::function<void(const checked&)>& tell);
