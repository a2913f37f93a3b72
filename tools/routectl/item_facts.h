// What an item file says, read as the driver reads it.
#pragma once

#include <string>

struct item_facts {
    bool readable = false;
    std::string problem; // what is wrong with it, in one line; empty for nothing, or nothing known
};

// Reads the item file. Of one that we have no permission to read nothing is known: the driver may well have.
item_facts examine_item(const std::string& path);
