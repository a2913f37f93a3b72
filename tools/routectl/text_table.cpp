#include "text_table.h"

#include "display_text.h"

#include <algorithm>
#include <limits>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::size_t gap = 2; // blanks between columns
constexpr std::size_t least_columns = 60;

// Gives each column the width of its widest cell, then narrows the widest until all fit.
void fit_columns(std::vector<table_column>* columns, std::size_t width) {
    std::size_t total = gap * (columns->size() - 1);
    for (table_column& one : *columns) {
        one.width = columns_of(one.head);
        for (const std::string& cell : one.cells)
            one.width = std::max(one.width, columns_of(cell));
        total += one.width;
    }
    for (; total > width; --total) {
        const auto widest =
            std::max_element(columns->begin(), columns->end(),
                             [](const table_column& a, const table_column& b) { return a.width < b.width; });
        --widest->width;
    }
}

std::string cell_text(const table_column& one, const std::string& cell) {
    const std::string cut = cut_to(cell, one.width);
    return one.right ? pad_left(cut, one.width) : pad_right(cut, one.width);
}

std::string line_of(const std::vector<std::string>& cells) {
    std::string line;
    for (const std::string& cell : cells)
        line += (line.empty() ? "" : std::string(gap, ' ')) + cell;
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

std::string text_table(std::vector<table_column> columns, std::size_t width, bool bold) {
    fit_columns(&columns, width);
    std::string table;
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const table_column& one : columns)
        cells.push_back(cell_text(one, one.head));
    table += (bold ? "\x1b[1m" : "") + line_of(cells) + (bold ? "\x1b[0m" : "") + "\n";
    for (std::size_t row = 0; row < columns.front().cells.size(); ++row) {
        cells.clear();
        for (const table_column& one : columns)
            cells.push_back(cell_text(one, one.cells[row]));
        table += line_of(cells) + "\n";
    }
    return table;
}

std::size_t columns_of_output() {
    winsize size{};
    if (!output_is_terminal() || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return std::numeric_limits<std::size_t>::max();
    return std::max<std::size_t>(size.ws_col, least_columns);
}

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}
