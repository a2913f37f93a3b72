// [[videohub]] of the configuration file: a table for each Videohub server.
#pragma once

#include "videohub_settings.h"

#include <functional>

#include <toml++/toml.h>

namespace gateway {

// What is wrong, with its line, from 1.
using tell_problem = std::function<void(std::size_t line, const std::string& problem)>;

// Tells each problem; without any, *servers are those of the file.
void read_videohub_tables(const toml::node& value, std::vector<videohub_settings>* servers,
                          const tell_problem& tell);

// All keys that a table may have.
std::vector<std::string> videohub_keys();

} // namespace gateway
