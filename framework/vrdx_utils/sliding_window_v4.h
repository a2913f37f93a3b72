// A byte buffer of fixed capacity between a descriptor and the code that consumes or produces bytes.
#pragma once

#include <cstddef>

// What is held lies in [start, end); what may be appended lies in [end, fence).
// Users read at `start` and advance it; writers copy to `end` and advance it. Nothing else is touched.
struct sliding_window_v4 {
    unsigned char* start; // first unread or unsent byte
    unsigned char* end;   // one past the last byte held
    unsigned char* fence; // one past the last usable byte
    unsigned char* base;  // first byte of the storage; the library's own
};

// A new empty buffer for `capacity` bytes; null when memory is short or capacity is 0. The storage is
// reserved, and uses memory only as far as it has been filled. The caller owns the buffer.
sliding_window_v4* sliding_window_v4_create_buffer(std::size_t capacity);

// Frees `buffer` (null allowed). Always null, to be stored over the caller's pointer.
sliding_window_v4* sliding_window_v4_destroy(sliding_window_v4* buffer);

// True when the positions are in order: base <= start <= end <= fence.
bool sliding_window_v4_is_sane(const sliding_window_v4* buffer);

// Gives back the room of consumed bytes: afterwards everything free lies between `end` and `fence`.
void sliding_window_v4_lazy_flush(sliding_window_v4* buffer);

// What one refill reads at the most: a peer that never stops writing gets a share of the loop, not all.
constexpr std::size_t sliding_window_refill_bytes = 262144;

// Reads from the non-blocking `fd` into the free room until would-block, full, end of file, or its share is
// read. `flags` must be 0. The count of bytes read; 0 when nothing was there or nothing fits; negative at end
// of file or on an error, and only when nothing was read before it in this call.
long sliding_window_v4_refill_from_fd(sliding_window_v4* buffer, int fd, int flags);

// Writes held bytes to the non-blocking `fd` until would-block or empty. `flags` must be 0.
// The count of bytes written, 0 when the descriptor would block. Negative when the reader is gone (also
// noticed with nothing to send) or on another error: what is held can no longer be delivered and is dropped.
// Never raises SIGPIPE.
long sliding_window_v4_empty_to_fd(sliding_window_v4* buffer, int fd, int flags);
