// How the client tells of a failure.
#pragma once

#include <string>

// Writes "vrdx_routectl: TEXT" to standard error as one line. Gives `exit_code` back.
int failed(int exit_code, const std::string& text);

// From now on as an object {"error": "TEXT", "exit code": N}, or not: for --json.
void tell_failures_as_json(bool wanted);
