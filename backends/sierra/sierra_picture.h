// What the router has told about itself since the connection was made. The rest is unknown. Outputs, levels
// and sources have the protocol's numbers, 1-based.
#pragma once

#include "sierra_replies.h"

#include <string>
#include <vector>

struct sierra_picture {
    int outputs = 0; // 0: the size is not known
    int inputs = 0;
    std::vector<std::string> levels; // names, in the order of their numbers
    std::vector<int> sources;        // of outputs x levels, all levels of one output after another
};

// One crosspoint that a report spoke of.
struct seen_crosspoint {
    int output = 0;
    int level = 0;
    int source = source_unknown;
    bool changed = false; // it had another source before, or none that was known
};

bool size_known(const sierra_picture& picture);

// Sets the size; every crosspoint is unknown afterwards. `size` is a reply of that kind.
void set_size(sierra_picture& picture, const reply& size);

// True when `size` is the size that the picture has already.
bool same_size(const sierra_picture& picture, const reply& size);

// Enters an X, Y or V, and returns the crosspoints that it was about; those beyond the router's size are left
// out. A source beyond its inputs counts as unknown.
std::vector<seen_crosspoint> apply_routing(sierra_picture& picture, const reply& routing);

// The source of one crosspoint; unknown for one beyond the size.
int source_of(const sierra_picture& picture, int output, int level);

// The source of the first of `levels` that has a known one; unknown when none has.
int source_of(const sierra_picture& picture, int output, const std::vector<int>& levels);
