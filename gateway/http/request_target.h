// What a request line asks for, taken apart and decoded.
#pragma once

#include "http_types.h"

namespace gateway {

struct request_target {
    std::string path; // as in `request`
    std::vector<std::pair<std::string, std::string>> query;
    std::string authority; // of "http://AUTHORITY/path"; empty for "/path"
};

// Reads "/path?query" or "http://authority/path?query". Returns what is wrong with it, "" for nothing.
// Refused are characters that no target has, encoded slashes and control characters, "." and ".." as a part
// of the path, and what is not UTF-8 once decoded.
std::string read_target(std::string_view text, request_target* target);

} // namespace gateway
