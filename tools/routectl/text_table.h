// Columns of text for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct table_column {
    std::string head;
    std::vector<std::string> cells; // one per row, as many in each column
    bool right = false;             // numbers stand right
    std::size_t width = 0;          // text_table's own
};

// The heads and the rows, a line each, with no blanks at their ends. No line is wider than `width` columns:
// the widest cells are cut. `bold` marks the heads.
std::string text_table(std::vector<table_column> columns, std::size_t width, bool bold);

// The columns of the terminal that standard output is; the largest number when it is a file or a pipe, which
// get every line whole.
std::size_t columns_of_output();

// True when standard output is a terminal, where heads are marked.
bool output_is_terminal();
