// The client's commands: one table that the command line, the help and the dispatch read.
#pragma once

#include "invocation.h"

#include <cstddef>
#include <span>

// A command's own options.
constexpr unsigned option_wait = 1;          // --wait and --no-wait
constexpr unsigned option_entries = 2;       // --entry
constexpr unsigned option_follow = 4;        // --follow and --lines
constexpr unsigned option_choice = 8;        // --input, --free and --name
constexpr unsigned without_item = 16;        // it is about all routers: neither ITEM nor --sock
constexpr unsigned option_outputs = 32;      // --outputs
constexpr unsigned option_names = 64;        // --names
constexpr unsigned option_crosspoints = 128; // --dry-run and --by
constexpr unsigned option_gateway = 256;     // may go through a gateway

struct command {
    const char* name;
    int (*run)(const invocation& call); // the exit code
    const char* words;                  // name of what follows the command, for the help; null: nothing may
    std::size_t least;                  // how many words have to follow
    std::size_t most;
    unsigned options; // of these
    const char* help;
    const char* examples; // below the help of the command
};

std::span<const command> all_commands();
