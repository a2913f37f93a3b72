// The tables of the gateway's database, and the way to them from each earlier version.
#pragma once

#include "database.h"

namespace gateway {

constexpr int schema_version = 5;

// Brings a database (an empty one is of version 0) to `version`, step by step, in one transaction. False and
// a sentence in *problem when it is newer, or no database of the gateway.
bool bring_to_version(database& kept, int version, std::string* problem);

} // namespace gateway
