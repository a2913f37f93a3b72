// Starting programs: what this process made of signals and limits for itself must not reach them.
#pragma once

#include <sys/types.h>

// Forks with nothing left unwritten and no signal in between: one that was meant for the child from its first
// moment on ends it, and is never taken by our own handlers in its copy of them. In the child all signals are
// at their default and still blocked, save a hang-up (SIGHUP) that is ignored here: that one stays ignored.
// The descriptor limit is the one we were started with. The pid in the parent, 0 in the child, -1 with errno
// set on failure.
pid_t vrdx_fork_child();

// In the child, right before it executes its program: signals arrive from here on.
void vrdx_unblock_child_signals();
