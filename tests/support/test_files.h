// The files a driver under test works on: items, and scripts for the scripted backend.
#pragma once

#include "temporary_directory.h"

#include <ctime>
#include <string>
#include <vector>

// Whole file contents. Throw when the file cannot be written or read.
void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);
bool file_exists(const std::string& path);

// The modification time in whole seconds, as the driver looks at it.
std::time_t modification_time(const std::string& path);
void set_modification_time(const std::string& path, std::time_t seconds);

// Puts a new file in the place of `path` in one step, with a modification time that the driver is sure to
// take for a newer one.
void replace_file(const std::string& path, const std::string& content);

// One script directive per line; see vrdx_route_scripted.cpp.
using script = std::vector<std::string>;
void write_script(const std::string& path, const script& directives);

// Writes DIR/script and the item file DIR/item that runs it on the scripted backend. Returns the item's path.
std::string write_scripted_item(const temporary_directory& directory, const script& directives,
                                const std::string& further_settings = "");

// The directives that announce a router: "info" with these sizes, type message, and its blank line.
script announce_router(int inputs, int outputs, bool split_levels = false);
// `parts` one after the other.
script join(const std::vector<script>& parts);

// Bytes as the script directives "raw" and "drip" want them.
std::string to_hex(const std::string& bytes);
