// Inputs and outputs as people name them. Numbers count from 1.
#pragma once

#include "client_picture.h"

#include <string>
#include <string_view>
#include <vector>

using vrdx::level_sources;
using vrdx::router_picture;

// The inputs or the outputs of a router, with what one of them is called in messages.
struct port_names {
    const char* one; // "input" or "output"
    std::vector<std::string_view> names;
};

// Views into the picture, which has to outlive them.
port_names input_names_of(const router_picture& picture);
port_names output_names_of(const router_picture& picture);

// The number that `text` means: a number, a whole name, or a part that only one name has (upper and lower
// case are the same then). -1 for anything else; *error then says in one line what is wrong and what is
// possible.
int find_port(const port_names& ports, std::string_view text, std::string* error);

// The numbers that `text` means: like find_port, or "*" for all, "1-8" for a range, or several of these with
// commas between them. Ascending, each once; empty with *error when anything of it means nothing.
std::vector<int> find_ports(const port_names& ports, std::string_view text, std::string* error);

// True when one of the names is just this text.
bool is_whole_name(const port_names& ports, std::string_view text);

// True when `part` is found in `text`; upper and lower case of ASCII letters are the same.
bool contains_text(std::string_view text, std::string_view part);

// "output 3 "Monitor 3"", without the name when there is none.
std::string output_text(const router_picture& picture, int number);
// "5 "Cam 5"", "none" or "unknown".
std::string source_text(const router_picture& picture, int number);
// The same for both levels: once when they are alike, else "audio 5 "Cam 5", video 6 "Cam 6"".
std::string sources_text(const router_picture& picture, const level_sources& sources);

// "1-4, 7", for messages.
std::string number_list(const std::vector<int>& ascending);
