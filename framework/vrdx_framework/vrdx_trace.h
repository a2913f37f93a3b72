// The trace: everything written to `stderr` is gathered, and given to standard error in order and in few
// calls.
//
// Nobody who reads it, or does not, may hold up a take. What standard error does not take at once is kept, up
// to a limit; beyond the limit new trace is dropped, and the loss told in the trace once it flows again. One
// flush may wait briefly for a reader that still reads. A reader that is gone costs its trace and nothing
// else. The same goes for `stdout`, which hardly ever says anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

constexpr std::size_t trace_kept_bytes =
    16777216; // waits for a slow reader, 16 MiB: more than one pass's trace
constexpr std::uint64_t trace_patience_us = 20000;        // of one flush
constexpr std::uint64_t trace_last_patience_us = 1000000; // of the last flush

// Puts gathering streams in the places of `stderr` and `stdout`. The process's end gives them what is left,
// with more patience. 0, or -1 when memory is short.
int vrdx_trace_begin();

// Looks anew at what standard error and output are. Due after their descriptors were pointed elsewhere.
void vrdx_trace_retarget();

// Writes what was gathered, as far as it is taken. Due before each wait, before a fork, and before an abort.
void vrdx_trace_flush();

// Adds the pieces to the trace, one behind the other. Floods are traced, too: one call for a line of ordinary
// length, and no lock, as there is only one thread.
void vrdx_trace_write(std::initializer_list<std::string_view> pieces);
