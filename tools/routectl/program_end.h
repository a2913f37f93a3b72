// How the client ends: what its exit code tells a script, what it says about a failure, and what a signal
// does.
#pragma once

#include <string>

// The help text of the client says the same.
constexpr int exit_done = 0;
constexpr int exit_refused =
    1; // the driver answered, but with "no router" or an error, or did not do what was asked
constexpr int exit_usage = 2;     // wrong use: nothing was sent
constexpr int exit_no_driver = 3; // no driver, or no answer in time

// Writes "vrdx_routectl: TEXT" to standard error as one line. Returns `exit_code`.
int failed(int exit_code, const std::string& text);

// Makes failed() write an object {"error": "TEXT", "exit code": N} from now on, or not: for --json.
void tell_failures_as_json(bool wanted);

// For commands that run until they are interrupted: SIGINT and SIGTERM end the process at once with
// exit_done. Whatever is printed must be flushed when it is printed.
void end_on_signals();
