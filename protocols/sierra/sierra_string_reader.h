// The outer form of the generic protocol: strings between "**" and "!!" in a stream of bytes. Small routers
// write one star and one mark.
#pragma once

#include <cstddef>
#include <string>

// What may come without completing a string, in bytes. A router that sends more is not one of ours.
constexpr std::size_t longest_string = std::size_t{1} << 20;

struct string_reader {
    std::string content;     // of the string under way, or of the one just completed
    bool inside = false;     // the beginning was seen, the end was not
    bool is_short = false;   // it began with one star, and ends with one mark
    char last = 0;           // the last byte that counts, for pairs cut over two reads
    std::size_t unended = 0; // bytes since the last complete string, at most longest_string + 1
    std::size_t stray = 0;   // visible bytes outside of any string, and those of discarded strings, so far
};

enum class read_result {
    more,     // nothing to do yet
    complete, // `content` holds what stood between "**" and "!!", until the next byte is taken
    too_long, // longest_string bytes have completed nothing: give up this connection
};

// Takes in one byte. Control characters are skipped wherever they stand; a new "**" discards a string that
// was not complete.
read_result read_byte(string_reader& reader, char byte);
