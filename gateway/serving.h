// The gateway at work: all its parts, put together, from start-up to the end.
#pragma once

#include "gateway/settings/command_line.h"
#include "gateway/settings/configuration.h"

namespace gateway {

// Serves until SIGTERM or SIGINT. The exit code; what went wrong is told on standard error.
int serve(const command_line& line, const configuration& started_with);

} // namespace gateway
