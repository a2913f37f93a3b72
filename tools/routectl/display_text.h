// Texts for terminals: UTF-8, measured in columns. Names come from routers and may hold any bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// `text` as it may be shown on one line: control characters become "?", bytes that are no UTF-8 U+FFFD.
std::string printable(std::string_view text);

// The width of `text` on a terminal, in columns: 2 for wide East Asian characters and pictures, 0 for
// combining ones.
std::size_t columns_of(std::string_view text);

// `text`, if it does not fit `columns` cut between characters and ended with "…".
std::string cut_to(std::string_view text, std::size_t columns);

// `text` with blanks after or before it up to `columns`.
std::string pad_right(std::string text, std::size_t columns);
std::string pad_left(std::string text, std::size_t columns);

// `text` in quotation marks, with \" \\ \n \r \t, and \xNN for other control characters and for bytes that
// are no UTF-8.
std::string in_quotes(std::string_view text);
