#include "videohub_requests.h"

#include "plain_text.h"
#include "videohub_model.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

// Reads a line of a block; false when it says nothing that can be done.
using line_reader = bool (*)(std::string_view line, videohub_served_size size, videohub_request& request);

struct known_topic {
    videohub_topic topic;
    std::string_view header;
    line_reader read; // null: lines say nothing, and whoever sends some is told so
};

// The number that begins the line, below `count`, and what follows the blank behind it.
struct numbered_text {
    int number = 0;
    std::string_view text;
};

std::optional<numbered_text> numbered(std::string_view line, int count) {
    const auto blank = std::min(line.find_first_of(" \t"), line.size());
    const std::optional<int> number = number_of_digits(line.substr(0, blank));
    if (!number || *number >= count)
        return std::nullopt;
    return numbered_text{*number, line.substr(std::min(blank + 1, line.size()))};
}

bool read_take(std::string_view line, videohub_served_size size, videohub_request& request) {
    const auto found = numbered(line, size.outputs);
    const auto source = found ? number_of_digits(without_outer_blanks(found->text)) : std::nullopt;
    if (!source || *source >= size.inputs)
        return false;
    request.takes[found->number] = *source;
    return true;
}

bool read_label(std::string_view line, int count, videohub_request& request) {
    const auto found = numbered(line, count);
    if (!found || found->text.size() > most_videohub_label_bytes)
        return false;
    request.labels[found->number] = found->text;
    return true;
}

bool read_input_label(std::string_view line, videohub_served_size size, videohub_request& request) {
    return read_label(line, size.inputs, request);
}

bool read_output_label(std::string_view line, videohub_served_size size, videohub_request& request) {
    return read_label(line, size.outputs, request);
}

bool read_lock(std::string_view line, videohub_served_size size, videohub_request& request) {
    const auto found = numbered(line, size.outputs);
    const std::string_view letter = found ? without_outer_blanks(found->text) : std::string_view();
    if (letter.size() != 1 || std::string_view("OUF").find(letter) == std::string_view::npos)
        return false;
    request.locks[found->number] = letter == "O"   ? videohub_lock_wish::lock
                                   : letter == "U" ? videohub_lock_wish::unlock
                                                   : videohub_lock_wish::force_unlock;
    return true;
}

bool is_truth(std::string_view text) {
    return text == "true" || text == "false";
}

bool read_configuration(std::string_view line, videohub_served_size, videohub_request&) {
    constexpr std::string_view take_mode = "Take Mode:";
    return line.starts_with(take_mode) && is_truth(without_outer_blanks(line.substr(take_mode.size())));
}

bool read_take_mode(std::string_view line, videohub_served_size size, videohub_request&) {
    const auto found = numbered(line, size.outputs);
    return found && is_truth(without_outer_blanks(found->text));
}

constexpr std::array<known_topic, 10> topics = {{
    {videohub_topic::ping, "PING", nullptr},
    {videohub_topic::preamble, "PROTOCOL PREAMBLE", nullptr},
    {videohub_topic::device, "VIDEOHUB DEVICE", nullptr},
    {videohub_topic::input_labels, "INPUT LABELS", read_input_label},
    {videohub_topic::output_labels, "OUTPUT LABELS", read_output_label},
    {videohub_topic::locks, "VIDEO OUTPUT LOCKS", read_lock},
    {videohub_topic::routing, "VIDEO OUTPUT ROUTING", read_take},
    {videohub_topic::configuration, "CONFIGURATION", read_configuration},
    {videohub_topic::take_modes, "TAKE MODE", read_take_mode},
    {videohub_topic::end_of_prelude, "END PRELUDE", nullptr},
}};

// Of any bytes, so that it stays one line, and a short one.
std::string shown(std::string_view text) {
    constexpr std::size_t longest = 60;
    std::string line(text.substr(0, longest));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return '"' + line + '"';
}

std::string line_problem(std::string_view header, std::string_view line, videohub_served_size size) {
    return "the line " + shown(line) + " of " + std::string(header) +
           " says nothing that is possible here; there are " + std::to_string(size.inputs) + " inputs and " +
           std::to_string(size.outputs) + " outputs, from 0";
}

} // namespace

std::string_view videohub_header(videohub_topic topic) {
    return std::find_if(topics.begin(), topics.end(),
                        [&](const known_topic& one) { return one.topic == topic; })
        ->header;
}

videohub_request read_videohub_request(const videohub_block& block, videohub_served_size size) {
    videohub_request request;
    const auto known = std::find_if(topics.begin(), topics.end(),
                                    [&](const known_topic& one) { return one.header == block.header; });
    if (known == topics.end()) {
        request.problem = "the block " + shown(block.header) + " is not known here";
        return request;
    }
    request.topic = known->topic;
    request.whole = block.lines.empty();
    std::string_view rest = block.lines;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (known->read == nullptr || !known->read(line, size, request)) {
            videohub_request refused;
            refused.problem = line_problem(block.header, line, size);
            return refused;
        }
    }
    request.understood = true;
    return request;
}
