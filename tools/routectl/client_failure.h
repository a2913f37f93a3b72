// How the client tells of a failure.
#pragma once

#include <string>

// Writes "vrdx_routectl: TEXT" to standard error as one line. Gives `exit_code` back.
int failed(int exit_code, const std::string& text);
