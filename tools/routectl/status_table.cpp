#include "status_table.h"

#include "display_text.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

constexpr std::size_t gap = 2; // blanks between columns

struct column {
    std::string head;
    std::vector<std::string> cells;
    bool right = false; // numbers stand right
    std::size_t width = 0;
};

// "3 Camera 3", the number as wide as the largest one; "-" for no source.
std::string source_cell(const router_status& status, int input, std::size_t digits) {
    if (input == 0)
        return pad_left("-", digits);
    std::string cell = pad_left(std::to_string(input), digits);
    const auto index = static_cast<std::size_t>(input) - 1;
    if (index < status.inputs.size() && !status.inputs[index].empty())
        cell += ' ' + printable(status.inputs[index]);
    return cell;
}

bool levels_agree(const router_status& status) {
    return std::all_of(status.outputs.begin(), status.outputs.end(), [](const output_status& output) {
        return output.source.audio == output.source.video;
    });
}

std::size_t digits_of_sources(const router_status& status) {
    int largest = 1;
    for (const auto& output : status.outputs)
        largest = std::max({largest, output.source.audio, output.source.video});
    return std::to_string(largest).size();
}

std::vector<column> columns_of_status(const router_status& status) {
    const std::size_t digits = digits_of_sources(status);
    column number{"Out", {}, true};
    column name{"Name", {}};
    column audio{"Audio", {}};
    column video{"Video", {}};
    for (const auto& output : status.outputs) {
        number.cells.push_back(std::to_string(number.cells.size() + 1));
        name.cells.push_back(printable(output.name));
        audio.cells.push_back(source_cell(status, output.source.audio, digits));
        video.cells.push_back(source_cell(status, output.source.video, digits));
    }
    if (!levels_agree(status))
        return {number, name, audio, video};
    audio.head = "Source";
    return {number, name, audio};
}

// Gives each column the width of its widest cell, then takes from the widest until all fit.
void fit_columns(std::vector<column>* columns, std::size_t width) {
    std::size_t total = gap * (columns->size() - 1);
    for (column& one : *columns) {
        one.width = columns_of(one.head);
        for (const std::string& cell : one.cells)
            one.width = std::max(one.width, columns_of(cell));
        total += one.width;
    }
    for (; total > width; --total) {
        const auto widest =
            std::max_element(columns->begin(), columns->end(),
                             [](const column& a, const column& b) { return a.width < b.width; });
        --widest->width;
    }
}

std::string cell_text(const column& one, const std::string& cell) {
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

std::string counted(std::size_t count, const std::string& what, bool at_least) {
    return (at_least ? "at least " : "") + std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace

std::string status_table(const router_status& status, std::size_t width, bool bold) {
    std::vector<column> columns = columns_of_status(status);
    fit_columns(&columns, width);
    std::string table = "Router with " +
                        counted(status.inputs.size(), "input", may_show_fewer_inputs(status)) + " and " +
                        counted(status.outputs.size(), "output", may_show_fewer_outputs(status)) + "\n";
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const column& one : columns)
        cells.push_back(cell_text(one, one.head));
    table += (bold ? "\x1b[1m" : "") + line_of(cells) + (bold ? "\x1b[0m" : "") + "\n";
    for (std::size_t row = 0; row < status.outputs.size(); ++row) {
        cells.clear();
        for (const column& one : columns)
            cells.push_back(cell_text(one, one.cells[row]));
        table += line_of(cells) + "\n";
    }
    return table;
}
