// Log lines that a router can cause as often as it likes: each is told at most once in a period, so that it
// cannot fill the log.
#pragma once

#include "log_lines.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

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
