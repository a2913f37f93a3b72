#include "whole_number.h"

#include <charconv>
#include <limits>

std::optional<int> whole_number(std::string_view text) {
    int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::invalid_argument || stop != text.data() + text.size()) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        return text.starts_with('-') ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return number;
}
