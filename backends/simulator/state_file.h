// The routing and the names, kept across restarts in a file: one message in the text form of the backend
// protocol, so that names of several lines are read as they were written.
#pragma once

#include "log_lines.h"
#include "simulated_router.h"

#include <string>
#include <string_view>

std::string state_text(const simulated_router& router);

// Restores what `text` contains. Inputs and outputs that the router no longer has are left out, a source that
// it no longer has becomes none. False, and the router as before, when `text` is not a complete state.
bool restore_state(std::string_view text, simulated_router& router);

// restore_state from a file. A missing file is a first start; anything else that is wrong is logged, and the
// router stays as it is.
void load_state_file(const std::string& path, simulated_router& router, log_lines& log);

// Replaces the file in one step: whenever the power fails, the old state or the new one is on the disk. A
// failure is logged, and the old file stays.
void save_state_file(const std::string& path, const simulated_router& router, log_lines& log);
