// A snapshot of all crosspoints, as a text to be kept.
//
// {"format": "vrdx crosspoints", "version": 1, "inputs": 16, "outputs": 16,
//  "crosspoints": [{"output": 1, "audio": 3, "video": 3}, ...],
//  "input names": ["Cam 1", ...], "output names": ["Monitor 1", ...]}
// Numbers start at 1; source 0 is "no source". There is at most one crosspoint for each output, in any order.
// Names are there only when they were asked for; then there are all.
#pragma once

#include "client_take.h"

#include <optional>
#include <string>
#include <vector>

struct snapshot {
    int inputs = 0;
    int outputs = 0;
    std::vector<vrdx::output_take> takes;  // of those outputs whose source was known
    std::vector<std::string> input_names;  // empty: not kept
    std::vector<std::string> output_names; // empty: not kept
};

// The confirmed crosspoints. *left_out gets the outputs that are not in it, because nobody knows their source
// or the router has not confirmed it.
snapshot snapshot_of(const vrdx::router_picture& picture, bool names, std::vector<int>* left_out);
std::string snapshot_text(const snapshot& one);

// Reads a snapshot. Empty when `text` is none, or is damaged; *error then says in one line what is wrong.
std::optional<snapshot> parse_snapshot(const std::string& text, std::string* error);

// Why the snapshot cannot be restored on this router, in one line; empty when it can.
std::string misfit(const snapshot& one, const vrdx::router_picture& picture);
