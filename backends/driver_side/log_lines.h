// Log lines for the driver, collected while a message is handled and printed by the main loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using log_lines = std::vector<std::string>; // "<TAG>text" each, without a line feed

// Bytes. The driver shows the last lines in one report, which would become too large with longer ones.
constexpr std::size_t longest_log_text = 4096;

// Appends one line; a longer text is cut. `tag` is "ERR", "WARN", "INFO" or "NOTE"; control characters in
// `text` become blanks, so that what a client sent cannot begin a new line.
void add_log_line(log_lines& log, std::string_view tag, std::string_view text);

// Rare lines: those that a router can cause as often as it likes. Of each cause one line is logged in this
// time, so that they cannot fill the log.
constexpr std::uint64_t rare_line_period_us = 5000000;

struct rare_line {
    std::uint64_t told_at = 0; // when one was logged last, microseconds of a monotonic clock
    std::size_t left_out = 0;  // since then
};

using rare_lines = std::map<std::string, rare_line, std::less<>>; // by their cause

// Appends the line as add_log_line does, unless a line with the same cause was logged less than
// rare_line_period_us before `now` (microseconds of a monotonic clock). The next line says how many were left
// out. `cause` is one of the program's own words, so that there are few of them. True when the line was
// appended.
bool add_rare_line(log_lines& log, rare_lines& lines, std::string_view cause, std::string_view tag,
                   std::string text, std::uint64_t now);
