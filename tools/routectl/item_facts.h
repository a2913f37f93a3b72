// What an item file says, read as the driver reads it.
#pragma once

#include <string>

struct item_facts {
    bool readable = false;
    std::string problem; // what is wrong with it, in one line; empty for nothing, or nothing known
};

// Reads the item file. When we may not read it nothing is known: the driver may still be allowed to.
item_facts examine_item(const std::string& path);
