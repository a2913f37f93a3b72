// `vrdx_gateway token add|list|remove`.
#pragma once

#include "gateway/settings/command_line.h"

#include <cstdint>

namespace gateway {

// Returns the exit code. `add` writes the token's text alone to `out`. `now`: seconds since 1970.
int run_token_command(const command_line& line, const std::string& state_directory, std::int64_t now,
                      std::ostream& out, std::ostream& err);

} // namespace gateway
