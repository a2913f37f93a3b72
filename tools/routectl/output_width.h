// How wide tables may be.
#pragma once

#include <cstddef>

// The columns of the terminal that standard output is; into a file or a pipe everything goes whole.
std::size_t columns_of_output();

// True when standard output is a terminal, where heads are marked.
bool output_is_terminal();
