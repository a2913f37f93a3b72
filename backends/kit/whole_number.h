// Reading of numbers as they stand in settings, messages and the state file.
#pragma once

#include <optional>
#include <string_view>

// The decimal number that `text` holds and nothing else (a leading "-" is allowed, blanks are not); a number
// that no int can hold becomes the nearest int. Nothing for any other text.
std::optional<int> whole_number(std::string_view text);
