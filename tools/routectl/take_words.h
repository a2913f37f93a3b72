// Takes as people write them: "3=2", "1-4,7=2", "*=none", "3=2,4" (audio, video), "3.audio=4",
// "Studio A=Cam 3".
#pragma once

#include "client_take.h"
#include "port_names.h"

#include <optional>

using vrdx::output_take;

// What one output is to show; a level without a value keeps its source.
struct wanted_take {
    int output = 0;
    std::optional<int> audio;
    std::optional<int> video;
};

// Reads all words against the router. Each output once, ascending; of several takes of one level the last
// counts. Empty with *error, one line, when one of the words means nothing on this router.
std::vector<wanted_take> read_take_words(const std::vector<std::string>& words, const router_picture& picture,
                                         std::string* error);

// The same in numbers alone, "3=2" or "3=2,4", for a driver that does not describe its router.
std::vector<output_take> read_numbered_takes(const std::vector<std::string>& words, std::string* error);
