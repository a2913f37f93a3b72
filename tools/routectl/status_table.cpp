#include "status_table.h"

#include "display_text.h"
#include "text_table.h"

#include <algorithm>
#include <vector>

namespace {

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

std::vector<table_column> columns_of_status(const router_status& status) {
    const std::size_t digits = digits_of_sources(status);
    table_column number{"Out", {}, true};
    table_column name{"Name", {}};
    table_column audio{"Audio", {}};
    table_column video{"Video", {}};
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

std::string counted(std::size_t count, const std::string& what, bool at_least) {
    return (at_least ? "at least " : "") + std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace

std::string status_table(const router_status& status, std::size_t width, bool bold) {
    return "Router with " + counted(status.inputs.size(), "input", may_show_fewer_inputs(status)) + " and " +
           counted(status.outputs.size(), "output", may_show_fewer_outputs(status)) + "\n" +
           text_table(columns_of_status(status), width, bold);
}
