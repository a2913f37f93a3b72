// One call of the client, as its command line asks for it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct command; // command_table.h

struct invocation {
    const command* what = nullptr;
    std::string socket;           // path of the driver's socket
    std::uint64_t timeout_us = 0; // for connecting and one answer
    bool json = false;
    bool wait = false;                // route: look again after the confirmation time
    std::vector<std::string> words;   // what follows the command
    std::vector<std::string> entries; // send: NAME=VALUE
};
