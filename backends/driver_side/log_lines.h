// Log lines for the driver, collected while a message is handled and printed by the main loop.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

using log_lines = std::vector<std::string>; // "<TAG>text" each, without a line feed

// Bytes; the driver shows the last lines in one report, which longer ones would burst.
constexpr std::size_t longest_log_text = 4096;

// Appends one line; a longer text is cut. `tag` is "ERR", "WARN", "INFO" or "NOTE"; control characters in
// `text` become blanks, so that what a client sent cannot begin a line of its own.
void add_log_line(log_lines& log, std::string_view tag, std::string_view text);
