// Numbered steps that bring a database of any earlier version to the newest one.
#pragma once

#include "database.h"

namespace gateway {

struct schema_plan {
    std::int64_t application; // a database says by it whose it is
    // Step n leads from version n to n + 1. What was once released is never changed, only continued.
    std::span<const char* const> steps;
};

// Brings a database (an empty one is of version 0) to `version`, step by step, in one transaction. False and
// a sentence in *problem when it is newer, or of another program.
bool bring_along(database& kept, const schema_plan& plan, int version, std::string* problem);

} // namespace gateway
