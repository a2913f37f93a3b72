// What the commands do. Each prints its result to standard output, or one line per failure to standard error,
// and returns the exit code.
#pragma once

#include "invocation.h"

int run_list(const invocation& call);
int run_status(const invocation& call);
int run_names(const invocation& call);
int run_route(const invocation& call);
int run_undo(const invocation& call);
int run_takes(const invocation& call);
int run_router_set(const invocation& call);
int run_set(const invocation& call);
int run_report(const invocation& call);
int run_watch(const invocation& call);
int run_save(const invocation& call);
int run_restore(const invocation& call);
int run_logs(const invocation& call);
int run_send(const invocation& call);
int run_ping(const invocation& call);
int run_exit(const invocation& call);
