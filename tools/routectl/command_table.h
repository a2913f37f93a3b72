// The client's commands: one table that the command line, the help and the dispatch read.
#pragma once

#include "invocation.h"

#include <cstddef>
#include <span>

struct command {
    const char* name;
    int (*run)(const invocation& call); // the exit code
    const char* words;                  // name of what follows the command, for the help; null: nothing may
    std::size_t least;                  // how many words have to follow
    std::size_t most;
    bool takes_wait;    // --wait
    bool takes_entries; // --entry
    const char* help;
    const char* examples; // below the help of the command
};

std::span<const command> all_commands();
