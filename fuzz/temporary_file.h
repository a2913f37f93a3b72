// One file for a target to work on, in a directory of its own that is removed when the process ends.
#pragma once

#include <string>
#include <string_view>

const std::string& temporary_file_path();

void write_temporary_file(std::string_view text);

std::string read_temporary_file();
