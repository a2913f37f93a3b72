// Numbers and blanks in text that people, routers and drivers write.
#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

inline bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

// `text` without the blanks, tabs and line ends around it.
inline std::string_view without_outer_blanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The decimal number at the beginning of `text` (a leading "-" only where the type has a sign), which is
// removed from it; one that the type cannot hold becomes the nearest it can. Nothing, with `text` untouched,
// when there is none.
template<typename number_type = int> std::optional<number_type> leading_number(std::string_view& text) {
    number_type number = 0;
    const char* const begin = text.data();
    const auto [stop, error] = std::from_chars(begin, begin + text.size(), number);
    if (error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    const bool is_negative = text.front() == '-';
    text.remove_prefix(static_cast<std::size_t>(stop - begin));
    if (error == std::errc::result_out_of_range) {
        return is_negative ? std::numeric_limits<number_type>::min()
                           : std::numeric_limits<number_type>::max();
    }
    return number;
}

// The same for a text that is a number and nothing else, without a blank; nothing for any other text.
template<typename number_type = int> std::optional<number_type> whole_number(std::string_view text) {
    const std::optional<number_type> number = leading_number<number_type>(text);
    return text.empty() ? number : std::nullopt;
}

// The number whose decimal digits the whole of `text` is. Nothing for any other text, for one with a sign,
// and for a number that the type cannot hold.
template<typename number_type = int> std::optional<number_type> number_of_digits(std::string_view text) {
    number_type number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool is_number = error == std::errc() && stop == end && is_digit(text.front());
    return is_number ? std::optional(number) : std::nullopt;
}
