// For commands that run until they are interrupted.
#pragma once

// SIGINT and SIGTERM end the process at once with exit_done. What was printed has to be flushed as it is
// printed.
void end_on_signals();
