// The outer form of the generic protocol: strings between "**" and "!!" in a stream of bytes. Small routers
// write one star and one mark.
#pragma once

#include <cstddef>
#include <string>

// How many bytes may come without completing a string. What sends more does not speak this protocol.
constexpr std::size_t longest_string = std::size_t{1} << 20;

struct string_reader {
    std::string content;     // of the string under way, or of the one just completed
    bool inside = false;     // the beginning was seen, the end was not
    bool is_short = false;   // the string began with one star, and ends with one mark
    char last = 0;           // the last byte that was not skipped: "**" and "!!" may come in two reads
    std::size_t unended = 0; // bytes since the last complete string, at most longest_string + 1
    std::size_t stray = 0;   // visible bytes outside of any string, and those of discarded strings, so far
};

enum class read_result {
    more,     // nothing to do yet
    complete, // `content` holds what was between "**" and "!!", until the next byte is read
    too_long, // longest_string bytes have completed nothing: give up this connection
};

// Reads one byte. Control characters are skipped everywhere; a new "**" discards a string that was not
// complete.
read_result read_byte(string_reader& reader, char byte);
