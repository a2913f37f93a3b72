// The configuration file: TOML, each key of it known.
#pragma once

#include "settings.h"

#include <map>

namespace gateway {

struct configuration_text {
    settings values; // defaults where the text says nothing
    std::map<std::string, unsigned>
        lines;                         // of the keys that it says, 1-based; "tls.key" for a key of a table
    bool names_hosts = false;          // else `hosts` are the default
    std::vector<std::string> problems; // "FILE:LINE: ..."
};

// All keys that the file may have, as in `lines`.
std::vector<std::string> configuration_keys();

// `file` is what the problems name.
configuration_text read_configuration_text(std::string_view text, const std::string& file);

} // namespace gateway
