// The settings in force: defaults, then the TOML file, then the command line.
#pragma once

#include "command_line.h"
#include "settings.h"

namespace gateway {

constexpr const char* default_configuration = "/etc/vrdx/gateway.toml";

struct configuration {
    settings values;
    // Each is one line: "FILE:LINE: KEY ...; possible: ..."; those of the command line begin with the option.
    // Empty: `values` holds. Else `values` is not to be used.
    std::vector<std::string> problems;
};

// Reads the file anew each time: at the start, and for each SIGHUP. For the token command, which may be run
// by somebody who may not read the key, it looks at no other file.
configuration read_configuration(const command_line& line);

// Writes the problems, a line each; exit_done or exit_wrong_use.
int check_configuration(const configuration& found, std::ostream& err);

} // namespace gateway
