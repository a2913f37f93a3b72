#include "videohub_blocks.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view blanks = " \t";
constexpr int most_number = 9999;

std::string_view without_outer_blanks(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

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
bool take_line(videohub_reader& reader, std::string_view line, std::vector<videohub_block>& blocks) {
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
    if (reader.block.lines.size() + line.size() >= most_videohub_block_bytes) {
        return false;
    }
    reader.block.lines.append(line).push_back('\n');
    return true;
}

template<typename taker> void for_each_line(const videohub_block& block, taker take) {
    std::string_view rest = block.lines;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        take(rest.substr(0, end));
        rest.remove_prefix(std::min(end, rest.size() - 1) + 1);
    }
}

} // namespace

bool read_videohub_bytes(videohub_reader& reader, std::string_view bytes,
                         std::vector<videohub_block>& blocks) {
    while (!bytes.empty()) {
        const auto end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (reader.line.size() + piece.size() > most_videohub_block_bytes) {
            return false;
        }
        reader.line.append(piece);
        if (end == std::string_view::npos) {
            return true;
        }
        if (!take_line(reader, reader.line, blocks)) {
            return false;
        }
        reader.line.clear();
        bytes.remove_prefix(end + 1);
    }
    return true;
}

std::string videohub_block_text(std::string_view header, const std::map<int, std::string>& entries) {
    std::string text(header);
    text.append(":\n");
    for (const auto& [number, entry] : entries) {
        std::string line = std::to_string(number) + " " + entry;
        std::replace_if(
            line.begin(), line.end(), [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
        text.append(line).push_back('\n');
    }
    text.push_back('\n');
    return text;
}

void for_each_videohub_entry(const videohub_block& block,
                             const std::function<void(int number, std::string_view text)>& take) {
    for_each_line(block, [&](std::string_view line) {
        int number = -1;
        const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), number);
        std::string_view text = line.substr(static_cast<std::size_t>(stop - line.data()));
        if (error != std::errc() || number < 0 || number > most_number ||
            (!text.empty() && blanks.find(text.front()) == std::string_view::npos)) {
            return;
        }
        text.remove_prefix(text.empty() ? 0 : 1);
        take(number, text);
    });
}

void for_each_videohub_property(
    const videohub_block& block,
    const std::function<void(std::string_view name, std::string_view value)>& take) {
    for_each_line(block, [&](std::string_view line) {
        const auto colon = line.find(':');
        if (colon != std::string_view::npos) {
            take(line.substr(0, colon), without_outer_blanks(line.substr(colon + 1)));
        }
    });
}
