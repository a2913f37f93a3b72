#include "decimal_number.h"

#include <charconv>

int decimal_number(std::string_view text) {
    int number = 0;
    const char* end = text.data() + text.size();
    const bool digit_first = !text.empty() && text.front() >= '0' && text.front() <= '9';
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return digit_first && error == std::errc() && stop == end ? number : -1;
}
