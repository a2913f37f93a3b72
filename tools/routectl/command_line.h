// The command line: vrdx_routectl [--sock P] [ITEM] COMMAND ...
#pragma once

#include "invocation.h"

// Reads the command line into *call and gives -1, or what the process has to exit with: after a help text, or
// after one line on standard error about a wrong use.
int read_command_line(int argc, const char* const* argv, invocation* call);
