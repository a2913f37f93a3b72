// The client's commands: one table that the command line, the help and the dispatch read.
#pragma once

#include "invocation.h"

#include <cstddef>
#include <span>

// A command's own options.
constexpr unsigned takes_wait = 1;          // --wait and --no-wait
constexpr unsigned takes_entries = 2;       // --entry
constexpr unsigned takes_follow = 4;        // --follow and --lines
constexpr unsigned takes_choice = 8;        // --input, --free and --name
constexpr unsigned takes_no_item = 16;      // it is about all routers: neither ITEM nor --sock
constexpr unsigned takes_outputs = 32;      // --outputs
constexpr unsigned takes_names = 64;        // --names
constexpr unsigned takes_crosspoints = 128; // --dry-run and --by
constexpr unsigned takes_gateway = 256;     // may go through a gateway

struct command {
    const char* name;
    int (*run)(const invocation& call); // the exit code
    const char* words;                  // name of what follows the command, for the help; null: nothing may
    std::size_t least;                  // how many words have to follow
    std::size_t most;
    unsigned takes; // its own options
    const char* help;
    const char* examples; // below the help of the command
};

std::span<const command> all_commands();
