// Small text helpers that the driver and its tools share.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

// Removes the line end ("\n", "\r\n" or a lone trailing "\r") from `line`, in place. Returns `line`.
char* chomp(char* line);

// Splits `text` in place at its first "=".
//  *name:  the text before it without blanks (space, tab) around it; null when nothing is left of it
//  *value: the text after it without blanks around it, possibly empty; null when there is no "="
// Both point into `text`. Without an "=" the whole text is the name.
void divide_name_equ_value_pair(char* text, const char** name, const char** value);

// The first (or last) `most` bytes of `text`, or up to three fewer: a letter of several bytes (UTF-8) is not
// cut apart.
std::string_view text_head(std::string_view text, std::size_t most);
std::string_view text_tail(std::string_view text, std::size_t most);

// To what length texts of these lengths must be cut so that all of them together fit into `room`. What is
// shorter stays as it is.
std::size_t longest_that_fits(std::vector<std::size_t> lengths, std::size_t room);
