// The backend's end of the wire: what a backend program needs to read the driver's messages from its standard
// input and to answer on its standard output without ever blocking. One endpoint per process; not re-entrant.
//
// A backend's loop: wait with select() or poll() for descriptor 0 (and its own hardware, and descriptor 1
// while endpoint_output_pending()), call endpoint_serve() for what has arrived, act, report.
// endpoint_dispatch() finds out what a message asks for, and the functions of endpoint_reports.h make the
// answers. A backend that ignores SIGPIPE learns from the return values that the driver is gone; any other
// backend is ended by that signal.
#pragma once

#include "endpoint_reports.h"
#include "endpoint_requests.h"
#include "message.h"

#include <functional>
#include <map>
#include <string>
#include <sys/select.h>

// Prepares descriptors 0, 1 and 2: each must be a pipe, a character device or a socket; 0 and 1 become
// non-blocking, 2 stays blocking, standard error becomes unbuffered. 0, or -1 when a check fails.
int endpoint_init();

// Adds descriptors 0, 1 and 2 to a select() read set and raises *nfds to at least 3.
void endpoint_fdset(fd_set* set, int* nfds);

// One read step: at most one byte of input. Returns the message that this byte completed, valid until the
// next read step, or null. Null does not mean that no more input waits, and it is also returned at end of
// input or on an error: endpoint_service() says which.
const TavrixAPIRouterMessage* endpoint_poll_message();

// The completed message that was not handed out yet, or null. Reads nothing and leaves the message where it
// is.
const TavrixAPIRouterMessage* endpoint_peek_message();

// Queues `message` for the driver and writes once. 0, or -1 when the driver is gone.
int endpoint_send_message(const TavrixAPIRouterMessage& message);

// Writes once what is queued. 0, or -1 on a zero-byte write or an error other than would-block or
// interrupted.
int endpoint_flush();

// True while output is queued.
bool endpoint_output_pending();

// One read step, then one flush step. 0, or -1 at end of input, on a read error, or when the driver is gone.
int endpoint_service();

// Reads what waits on standard input, hands each message to `on_message`, and writes once what is queued. 0,
// or -1 at end of input, on an error, or when the driver is gone.
int endpoint_serve(const std::function<void(const TavrixAPIRouterMessage& message)>& on_message);

// The same with endpoint_dispatch(); takes are collected in between.
int endpoint_serve(const endpoint_handlers& handlers);

// CLOCK_MONOTONIC in microseconds.
std::uint64_t endpoint_clock_us();

// Reads the name=value lines of the file `path` into `map`, under an exclusive advisory lock. Empty lines,
// lines that begin with "#" and lines without "=" are skipped; one blank before and one after the first "="
// are dropped; a repeated name appends a line feed and the new value; lines are read in pieces of 4095 bytes.
// 0, or -1 when the file cannot be opened, locked or read to its end.
int read_name_value_file(std::map<std::string, std::string>& map, const std::string& path);

// "dir/name" gives "dir/.tavrixmeta.name", "name" gives ".tavrixmeta.name"; empty for a path that is empty or
// ends in "/".
std::string metadata_sidecar_path(const std::string& path);
