// Starting programs. They get the signals and limits that this process was started with, not those that it
// has set for itself.
#pragma once

#include <sys/types.h>

// Forks, after writing out the trace. All signals are blocked meanwhile: a signal sent to the child must
// reach the program that it starts, and never run a copy of our handlers. In the child all signals are at
// their default and still blocked; only a hang-up (SIGHUP) that is ignored here stays ignored. The descriptor
// limit is the one we were started with. Returns the pid in the parent, 0 in the child, -1 with errno set on
// failure.
pid_t vrdx_fork_child();

// To be called in the child right before it executes its program: from here on signals reach it.
void vrdx_unblock_child_signals();
