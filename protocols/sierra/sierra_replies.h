// What the router says: the parts of one string. Numbers are the protocol's own here, 1-based.
#pragma once

#include "router_limits.h"

#include <string>
#include <string_view>
#include <vector>

constexpr int most_router_levels = 64;

// The source of a crosspoint: 1 and up, or one of these.
constexpr int source_unknown = 0;       // "0": not known, or the crosspoint does not exist
constexpr int source_disconnected = -1; // "-"

enum class reply_kind {
    crosspoint, // X: `output`, `level` (0: all), one source
    all_levels, // Y: `output`, one source
    per_level,  // V: `output`, one source for each level from the first on
    ok,
    error,   // ERROR: `text` is what the router says about it; what follows in the string is skipped
    reset,   // RESET: `text` is the model
    letters, // I: `text` holds the letters of the commands that exist, in capitals
    model,   // Q: `text` is model and version, with a blank between
    size,    // L: `outputs`, `inputs`, `levels`
    lock,    // B: `output`, `is_locked`
    other,   // well formed, and of no interest here
    unreadable
};

struct reply {
    reply_kind kind = reply_kind::unreadable;
    int output = 0;
    int level = 0;
    std::vector<int> sources;
    std::string text;
    bool is_locked = false;          // of lock
    int outputs = 0;                 // 1..most_router_outputs
    int inputs = 0;                  // 1..most_router_inputs
    std::vector<std::string> levels; // names, 1..most_router_levels of them, perhaps empty ones
};

// The parts of the string whose content is given, in their order. Letters count in either case, numbers may
// be padded with zeros. A part that cannot be read becomes `unreadable`, with the part in `text`; the parts
// behind it are read. An L with more outputs or inputs than the most is cut down to them.
std::vector<reply> parse_replies(std::string_view content);
