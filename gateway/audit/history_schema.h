// The tables of history.db, and how each of its connections is set up.
#pragma once

#include "gateway/access/database.h"

namespace gateway {

constexpr int history_schema_version = 3;
constexpr int history_version_before_sites = 1;
constexpr const char* history_file_name = "history.db";

// As bring_along() does.
bool bring_history_to_version(database& kept, int version, std::string* problem);

// Opens history.db of that directory for who writes it: made when it is not there, brought to the newest
// version. Null and a sentence in *problem when it cannot be used.
std::unique_ptr<database> open_history(const std::string& state_directory, std::string* problem);

} // namespace gateway
