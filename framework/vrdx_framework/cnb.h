// The buffer domain: a table of the shared buffers that this process holds. The driver prints it when it
// ends.
#pragma once

#include <cstdio>

// Records that descriptor `fd` maps `size` bytes of buffer `buffer`. (-1, -1, 0) empties
// the table: none is held.
void cnb_alloc_assign_single(int fd, int buffer, unsigned long size);

// Writes one line per buffer still held to standard error, or "none".
void cnb_alloc_print_remaining_buffers();
