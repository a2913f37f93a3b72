// Log lines for the driver, collected while a message is handled and printed by the main loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using log_lines = std::vector<std::string>; // "<TAG>text" each, without a line feed

// Bytes; the driver shows the last lines in one report, which longer ones would burst.
constexpr std::size_t longest_log_text = 4096;

// Appends one line; a longer text is cut. `tag` is "ERR", "WARN", "INFO" or "NOTE"; control characters in
// `text` become blanks, so that what a client sent cannot begin a line of its own.
void add_log_line(log_lines& log, std::string_view tag, std::string_view text);

// Lines that a router can cause as often as it likes: of each kind one is told in this time, so that they
// cannot fill the log.
constexpr std::uint64_t rare_line_period_us = 5000000;

struct rare_line {
    std::uint64_t told_at = 0; // microseconds of a monotonic clock
    std::size_t left_out = 0;  // since then
};

using rare_lines = std::map<std::string, rare_line, std::less<>>; // by their cause

// Appends the line as add_log_line does, unless one of the same cause was told less than a period before
// `now` (microseconds of a monotonic clock). The next one that is told says how many were left out. `cause`
// is a word of the program's own, so that there are few of them. True when it was told.
bool add_rare_line(log_lines& log, rare_lines& lines, std::string_view cause, std::string_view tag,
                   std::string text, std::uint64_t now);
