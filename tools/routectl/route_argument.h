// Takes as people write them: OUT=IN, or OUT=AUDIO,VIDEO. Numbers start at 1; 0 and "none" are "no source".
#pragma once

#include "router_status.h"

#include <optional>
#include <string>
#include <string_view>

struct take {
    int output; // 1 or more
    crosspoint source;
};

// Reads a take. Empty when `text` is none, *error then says in one line what is wrong with it.
std::optional<take> parse_take(std::string_view text, std::string* error);

// The take as the driver reads it: "3=2" for one source on both levels, else "3=2,4", audio first.
std::string take_argument(const take& one);
