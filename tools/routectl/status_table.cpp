#include "status_table.h"

#include "display_text.h"
#include "text_table.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

using vrdx::picture_output;
using vrdx::router_picture;

// "3 Camera 3", the number as wide as the largest one; "-" for no source, "?" while nobody knows.
std::string source_cell(const router_picture& picture, int input, std::size_t digits) {
    if (input <= 0)
        return pad_left(input == vrdx::source_none ? "-" : "?", digits);
    std::string cell = pad_left(std::to_string(input), digits);
    const auto index = static_cast<std::size_t>(input) - 1;
    if (index < picture.inputs.size() && !picture.inputs[index].name.empty())
        cell += ' ' + printable(picture.inputs[index].name);
    return cell;
}

// "* 0.8 s": shown for a take, and rolled back after that time unless the router confirms it.
std::string waits_cell(const picture_output& output) {
    if (!output.waits_ms)
        return {};
    if (*output.waits_ms == 0)
        return "*";
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "* %.1f s", static_cast<double>(*output.waits_ms) / 1000);
    return text.data();
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace

std::string status_table(const router_picture& picture, const std::vector<int>& outputs, std::size_t width,
                         bool bold) {
    const std::size_t digits = std::to_string(picture.inputs.size()).size();
    table_column number{"Out", {}, true};
    table_column name{"Name", {}};
    table_column audio{picture.split_levels ? "Audio" : "Source", {}};
    table_column video{"Video", {}};
    table_column waits{"Waits", {}};
    for (const int one : outputs) {
        const picture_output& output = picture.outputs[static_cast<std::size_t>(one) - 1];
        number.cells.push_back(std::to_string(one));
        name.cells.push_back(printable(output.name));
        audio.cells.push_back(source_cell(picture, output.sources.audio, digits));
        if (picture.split_levels)
            video.cells.push_back(source_cell(picture, output.sources.video, digits));
        waits.cells.push_back(waits_cell(output));
    }
    std::vector<table_column> columns = {number, name, audio};
    if (picture.split_levels)
        columns.push_back(video);
    columns.push_back(waits);
    return "Router with " + counted(picture.inputs.size(), "input") + " and " +
           counted(picture.outputs.size(), "output") +
           (outputs.size() == picture.outputs.size()
                ? ""
                : ", " + std::to_string(outputs.size()) + " of them shown") +
           "\n" + text_table(columns, width, bold);
}
