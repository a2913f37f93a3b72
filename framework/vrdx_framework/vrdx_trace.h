// The trace: everything written to `stderr` is gathered, and written to standard error in order and in few
// calls.
//
// A slow reader of the trace must not delay a take. What standard error does not accept at once is kept, up
// to a limit. Beyond the limit new trace is dropped, and a line says so as soon as the trace can be written
// again. One flush may wait briefly for a reader that is slow. When the reader is gone, its trace is lost and
// nothing else happens. The same holds for `stdout`, to which hardly anything is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

constexpr std::size_t trace_kept_bytes =
    16777216; // waits for a slow reader, 16 MiB: more than one pass's trace
constexpr std::uint64_t trace_patience_us = 20000;        // of one flush
constexpr std::uint64_t trace_last_patience_us = 1000000; // of the last flush

// Replaces `stderr` and `stdout` by streams that gather. What is left in them is written at the end of the
// process, with more patience. 0, or -1 when memory is short.
int vrdx_trace_begin();

// Looks again at what standard error and output are. To be called after their descriptors were changed.
void vrdx_trace_retarget();

// Writes what was gathered, as much as is accepted. To be called before each wait, before a fork, and before
// an abort.
void vrdx_trace_flush();

// Adds the pieces to the trace, one after another. It is cheap, because floods are traced, too: one call for
// a line of ordinary length, and no lock, as there is only one thread.
void vrdx_trace_write(std::initializer_list<std::string_view> pieces);
