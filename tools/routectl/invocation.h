// One call of the client, as its command line asks for it.
#pragma once

#include "item_place.h"

#include <cstdint>
#include <string>
#include <vector>

struct command; // command_table.h

struct invocation {
    const command* what = nullptr;
    item_place place;             // of the router; nothing in it for a command about all of them
    std::uint64_t timeout_us = 0; // for connecting and one answer
    bool json = false;
    bool wait = false;                // route: look again after the confirmation time
    bool follow = false;              // logs: go on as the trace grows
    int lines = 20;                   // logs: how many of the last ones
    std::uint64_t observe_us = 0;     // status, list: look for rolled back takes so long
    std::vector<std::string> words;   // what follows the command
    std::vector<std::string> entries; // send: NAME=VALUE
};
