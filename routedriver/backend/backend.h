// The backend: the one child program that talks to the router hardware, its three pipes, its log lines, and
// its reports. Nothing here happens by itself: each pass of the loop calls the functions below in turn.
//
//   state        | event                              | what is done
//   -------------+------------------------------------+------------------------------------------------------
//   none         | check due, backend_path set        | start_backend
//   none         | check due, pipe or fork fails      | clean up in silence, next check in 5 s
//   running      | standard input or output closed    | stop_backend
//   running      | standard error closed              | forget that pipe, keep the rest
//   running      | exited (noticed one pass later)    | trace it, stop_backend
//   running      | driver changed, path emptied       | stop_backend
//   stopping     | exited                             | reap_ident_procs
//   stopping     | ignores SIGTERM                    | stays listed; a new backend may run beside it
#pragma once

#include "sliding_window_v4.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>

constexpr std::size_t kept_text_capacity =
    1048576; // bytes; a longer line may need more memory, which is given back after it

extern std::int32_t backend_pid;      // -1: none
extern std::int32_t backend_stdin_fd; // our end of each pipe, non-blocking; -1: closed
extern std::int32_t backend_stdout_fd;
extern std::int32_t backend_stderr_fd;
extern sliding_window_v4* backend_stdinbuf; // one buffer per pipe; null: none
extern sliding_window_v4* backend_stdoutbuf;
extern sliding_window_v4* backend_stderrbuf;
extern std::string backend_path;         // full path of the program; empty: no backend is wanted
extern std::uint64_t next_backend_check; // monotonic_us of the next start check

extern std::map<std::int32_t, unsigned char> ident_procs; // stopped children that are not reaped yet, by pid
extern std::int32_t stop_depth;                           // nesting of stop_backend

extern std::string stdout_line; // the line each reader is in the middle of
extern std::string stderr_line;
extern bool debug_messages; // lets the backend's DBG lines into last_notes; item file and settings write it

extern std::string last_error; // bounded logs, see append_log_line
extern std::string last_notes;

// The same lines once more, each cut down to timed_line_bytes, with their times; as many as the logs hold.
struct timed_line {
    std::uint64_t wall_ms; // since 1970
    std::string text;
};
constexpr std::size_t timed_line_bytes = 1024;
extern std::deque<timed_line> timed_errors;
extern std::deque<timed_line> timed_notes;

// --- life --------------------------------------------------------------------------------------------------

// Every 5 s: starts a backend when one is wanted and none runs. `now` in microseconds.
void check_backend_start(std::uint64_t now);

// Starts backend_path. 0 when a child was made; -1 when a pipe, a buffer or the child could not be made (all
// cleaned up). Whether the program could be executed shows only on its pipes.
int start_backend();

// Notices that the child has ended, and acts on it in the next pass: so this pass still reads its last lines.
void check_backend_alive();

// Tells the picture whether a backend runs, and if not, why. Once per pass.
void tell_backend_state();

// Stops the backend, or what there is of one, and drops what was queued for it. May be called at any time,
// also while it runs already.
void stop_backend();

// Reaps the stopped children that have ended.
void reap_ident_procs();

// --- pipes, once per pass ----------------------------------------------------------------------------------

// Moves at most one queued message into the standard-input buffer and writes what the pipe has room for.
void pending_to_buffer();

// Reads what the backend logged, and adds each line to the log that its tag names.
void read_backend_stderr();

// Reads what the backend reported; hands each line to read_backend_report_line.
void read_backend_stdout();

// --- logs and reports --------------------------------------------------------------------------------------

// Appends `line` to `log`, which keeps its last twenty-odd lines (cut before the append, by line feeds
// alone).
void append_log_line(std::string& log, std::string_view line);

// One complete line of the backend's standard output, line feed removed: collects it, and applies the report
// to the router model when the line is blank.
void read_backend_report_line(std::string_view line);

// Applies the report that has come in (incoming_report.h): "info", "inputs", "outputs", "link" and "refused"
// of type "message". Anything else changes nothing. The caller clears the report afterwards.
void handle_backend_report();
