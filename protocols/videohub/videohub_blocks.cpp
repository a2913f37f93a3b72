#include "videohub_blocks.h"

#include "plain_text.h"

#include <algorithm>

namespace {

constexpr std::string_view blanks = " \t";
constexpr int most_number = 9999;

bool is_answer(std::string_view line) {
    return line == "ACK" || line == "NAK";
}

// What stands where a header should is one, or the beginning of a block that nobody knows.
std::string header_of(std::string_view line) {
    line = without_outer_blanks(line);
    return std::string(line.ends_with(':') ? line.substr(0, line.size() - 1) : line);
}

void end_block(videohub_reader& reader, std::vector<videohub_block>& blocks) {
    if (!reader.block.header.empty()) {
        blocks.push_back(std::move(reader.block));
        reader.block = {};
    }
}

// False when the block becomes too large.
bool read_line(videohub_reader& reader, std::string_view line, std::vector<videohub_block>& blocks) {
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (line.empty() || is_answer(reader.block.header)) {
        end_block(reader, blocks); // an answer has no lines: what follows it begins anew
    }
    if (line.empty()) {
        return true;
    }
    if (reader.block.header.empty()) {
        reader.block.header = header_of(line);
        return true;
    }
    if (reader.block.lines.size() + line.size() >= reader.most_bytes) {
        return false;
    }
    reader.block.lines.append(line).push_back('\n');
    return true;
}

template<typename handler> void for_each_line(const videohub_block& block, handler on_line) {
    std::string_view rest = block.lines;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        on_line(rest.substr(0, end));
        rest.remove_prefix(std::min(end, rest.size() - 1) + 1);
    }
}

} // namespace

bool read_videohub_bytes(videohub_reader& reader, std::string_view bytes,
                         std::vector<videohub_block>& blocks) {
    while (!bytes.empty()) {
        const auto end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (reader.line.size() + piece.size() > reader.most_bytes) {
            return false;
        }
        reader.line.append(piece);
        if (end == std::string_view::npos) {
            return true;
        }
        if (!read_line(reader, reader.line, blocks)) {
            return false;
        }
        reader.line.clear();
        bytes.remove_prefix(end + 1);
    }
    return true;
}

std::string videohub_entry_line(int number, std::string_view text) {
    std::string line = std::to_string(number);
    line.append(" ").append(text);
    std::replace_if(
        line.begin(), line.end(), [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
    line.push_back('\n');
    return line;
}

std::string videohub_block_text(std::string_view header, const std::map<int, std::string>& entries) {
    std::string text(header);
    text.append(":\n");
    for (const auto& [number, entry] : entries) {
        text.append(videohub_entry_line(number, entry));
    }
    text.push_back('\n');
    return text;
}

void for_each_videohub_entry(const videohub_block& block,
                             const std::function<void(int number, std::string_view text)>& on_entry) {
    for_each_line(block, [&](std::string_view line) {
        std::string_view text = line;
        const std::optional<int> number = leading_number(text);
        if (!number || *number < 0 || *number > most_number ||
            (!text.empty() && blanks.find(text.front()) == std::string_view::npos)) {
            return;
        }
        text.remove_prefix(text.empty() ? 0 : 1);
        on_entry(*number, text);
    });
}

void for_each_videohub_property(
    const videohub_block& block,
    const std::function<void(std::string_view name, std::string_view value)>& on_entry) {
    for_each_line(block, [&](std::string_view line) {
        const auto colon = line.find(':');
        if (colon != std::string_view::npos) {
            on_entry(line.substr(0, colon), without_outer_blanks(line.substr(colon + 1)));
        }
    });
}
