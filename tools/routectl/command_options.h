// What the command line may hold, declared to the parser.
#pragma once

#include "invocation.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// As typed; what each means is checked later.
struct raw_options {
    std::string sock;
    std::string metadir;
    std::string gateway;
    std::string token_file;
    std::string ca;
    std::string item;
    std::string timeout = "5";
    bool json = false;
    bool wait = false;
    bool no_wait = false;
    bool dry_run = false;
    bool follow = false;
    bool free = false;
    bool names = false;
    std::string lines;
    std::string by = usual_by;
    std::string outputs;
    std::string input;
    std::string name;
    std::vector<std::string> words;
    std::vector<std::string> entries;
};

// Declares all commands and options; the parser writes into *options.
void build_parser(CLI::App* app, raw_options* options);
