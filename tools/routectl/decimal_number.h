// Numbers in texts.
#pragma once

#include <string_view>

// The number that the whole of `text` is: digits only, at most 2147483647. -1 for any other text.
int decimal_number(std::string_view text);
