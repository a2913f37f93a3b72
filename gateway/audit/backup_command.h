// vrdx_gateway backup FILE, vrdx_gateway restore FILE: the whole state, tokens, locks and history, in one
// file.
#pragma once

#include "gateway/settings/command_line.h"

#include <ostream>
#include <string>

namespace gateway {

// An exit code; what went wrong stands on `err` in one line.
int run_backup_command(const command_line& line, const std::string& state_directory, std::ostream& err);
int run_restore_command(const command_line& line, const std::string& state_directory, std::ostream& err);

} // namespace gateway
