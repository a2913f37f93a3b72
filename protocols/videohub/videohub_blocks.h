// Blocks of the Videohub Ethernet protocol: a header in capitals with a colon, lines, an empty line. Numbers
// are 0-based. Text in, blocks out, and back; what a block means is told by videohub_model.h.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct videohub_block {
    std::string header; // without its colon; "ACK" or "NAK" for an answer
    std::string lines;  // each ended by a line feed, without leading blanks and carriage returns
};

// A line, or a block, of more bytes than this is an error.
constexpr std::size_t most_videohub_block_bytes = 1024UL * 1024;

// Makes blocks of bytes that come in any pieces. Holds what is not a complete block yet, at most two times
// most_bytes.
struct videohub_reader {
    std::string line;                                   // not ended yet
    videohub_block block;                               // not ended yet; no header: between two blocks
    std::size_t most_bytes = most_videohub_block_bytes; // of a line or a block; set before the first byte
};

// Appends to `blocks` what `bytes` complete. Blanks at the beginning of a line and a carriage return at its
// end are dropped. False when a line or a block becomes longer than the limit: then the rest cannot be read,
// and the reader must be replaced by a new one.
bool read_videohub_bytes(videohub_reader& reader, std::string_view bytes,
                         std::vector<videohub_block>& blocks);

// A line of a block, with its line feed. Line feeds and carriage returns in the text become blanks.
std::string videohub_entry_line(int number, std::string_view text);

// The text of a block: the header, a line "NUMBER TEXT" for each entry, an empty line. Line feeds and
// carriage returns in a text become blanks. From a client a block without entries asks for the whole block.
std::string videohub_block_text(std::string_view header, const std::map<int, std::string>& entries);

// Calls `on_entry` with the number and the text (all that follows the first blank) of each line of `block`
// that begins with a number from 0 to 9999 and a blank, or is nothing but the number; other lines are
// skipped.
void for_each_videohub_entry(const videohub_block& block,
                             const std::function<void(int number, std::string_view text)>& on_entry);

// Calls `on_entry` with the name and the value of each "Name: value" line of `block`, the blanks around the
// value dropped; other lines are skipped.
void for_each_videohub_property(
    const videohub_block& block,
    const std::function<void(std::string_view name, std::string_view value)>& on_entry);
