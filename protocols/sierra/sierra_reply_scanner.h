// Reads the content of one string step by step. A step removes from `rest` what it has read; when it does not
// find what it looks for, it removes nothing.
#pragma once

#include <optional>
#include <string_view>

struct reply_scanner {
    std::string_view rest;
};

// The letter as a capital; any other character as it is.
char capital(char letter);

bool at_end(const reply_scanner& scanner);

// True where a part may end: at the end, at a blank, and at the letter of the next part.
bool at_boundary(const reply_scanner& scanner);

void skip_blanks(reply_scanner& scanner);

// Letters, and lists in brackets.
void skip_options(reply_scanner& scanner);

// True when `character` came next.
bool consume_character(reply_scanner& scanner, char character);

// The same for a comma; blanks behind it are consumed too.
bool consume_comma(reply_scanner& scanner);

// True when letters and digits came next that end at a blank or at the end.
bool consume_plain_word(reply_scanner& scanner);

// True when `word`, given in capitals, came next.
bool consume_prefix(reply_scanner& scanner, std::string_view word);

// The same for a whole word: behind it stands neither a letter nor a digit.
bool consume_word(reply_scanner& scanner, std::string_view word);

// The next character as a capital.
char consume_letter(reply_scanner& scanner);

// Decimal digits, perhaps padded with zeros; what no int holds is the largest int. Nothing when there is no
// digit.
std::optional<int> consume_number(reply_scanner& scanner);

// What stands before the next "~", without outer blanks; consumes the "~" too. Nothing when there is none
// within 1024 characters.
std::optional<std::string_view> consume_name(reply_scanner& scanner);

// Everything that is left, without outer blanks.
std::string_view consume_rest(reply_scanner& scanner);

// At least one character, and what follows up to a blank.
std::string_view consume_to_blank(reply_scanner& scanner);
