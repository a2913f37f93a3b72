// One call of the client, as its command line asks for it.
#pragma once

#include "gateway_client.h"
#include "item_place.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct command; // command_table.h

constexpr const char* usual_by = "vrdx_routectl"; // how takes are signed without --by

struct invocation {
    const command* what = nullptr;
    item_place place;                      // of the router; nothing in it for a command about all of them
    std::optional<gateway_access> gateway; // asked instead of the driver; then only place.name counts
    std::uint64_t timeout_us = 0;          // for connecting and one answer
    bool json = false;
    bool no_wait = false;             // route: nothing is said about what became of it
    bool dry_run = false;             // route, restore, undo: only say what would change
    bool follow = false;              // logs, takes: go on with what comes later
    int lines = -1;                   // logs, takes: how many of the last ones; -1: as usual
    std::string by;                   // route, restore, undo: shown to others
    std::string outputs;              // status, restore: only these; empty: all
    std::string input;                // status: only outputs that show it; empty: all
    bool free = false;                // status: only outputs without a source
    std::string name;                 // status: only outputs with this in their name; empty: all
    bool names = false;               // save, restore: names, too
    std::vector<std::string> words;   // what follows the command
    std::vector<std::string> entries; // send: NAME=VALUE
};
