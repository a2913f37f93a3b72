// The work of the driver's pure parts without its processes: a backend that is only pipes, and what it says.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Stands in for a running backend: what the driver's modules read and write are pipes of this process.
// Throws when they cannot be made.
void connect_piped_backend();

// Has the driver read `text` as its backend's standard output, or error, however many passes that needs.
void report_through_pipe(std::string_view text);
void log_through_pipe(std::string_view text);

// Moves all commands queued into the pipe, and reads them at its other end; returns how many bytes they were.
std::size_t take_commands_out();

// Connects so many clients that watch, and reads what they are told at first. Throws when that does not work.
void connect_watchers(int count);
// Tells watchers what the pass has changed; the bytes that they got.
std::size_t tell_watchers_of_pass();

// All that a backend reports of a router at its start: size, names, routing.
std::string full_report(int inputs, int outputs);
// The report of one take that was done, 0-based.
std::string take_report(int output, int input);
// The log of a backend in trouble.
std::string log_flood(int lines);

// One request packet (header included), answered as the server does; the bytes of the reply.
std::size_t answer_request(const std::string& request);
