// The command line: vrdx_routectl [--sock P] [ITEM] COMMAND ...
#pragma once

#include "invocation.h"

// Reads the command line into *call. Returns -1; or the exit code of the process, after a help text or after
// one line on standard error about a wrong use.
int read_command_line(int argc, const char* const* argv, invocation* call);
