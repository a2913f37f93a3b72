#include "reply_scanner.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

constexpr std::size_t longest_name = 1024;

bool is_letter(char character) {
    return capital(character) >= 'A' && capital(character) <= 'Z';
}

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

std::string_view without_outer_blanks(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string_view take(reply_scanner& scanner, std::size_t count) {
    const std::string_view taken = scanner.rest.substr(0, count);
    scanner.rest.remove_prefix(taken.size());
    return taken;
}

} // namespace

char capital(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool at_end(const reply_scanner& scanner) {
    return scanner.rest.empty();
}

bool at_boundary(const reply_scanner& scanner) {
    return at_end(scanner) || scanner.rest.front() == ' ' || is_letter(scanner.rest.front());
}

void skip_blanks(reply_scanner& scanner) {
    take(scanner, std::min(scanner.rest.find_first_not_of(' '), scanner.rest.size()));
}

void skip_letters(reply_scanner& scanner) {
    while (!at_end(scanner) && is_letter(scanner.rest.front())) {
        take(scanner, 1);
    }
}

bool take_character(reply_scanner& scanner, char character) {
    if (at_end(scanner) || scanner.rest.front() != character) {
        return false;
    }
    take(scanner, 1);
    return true;
}

bool take_prefix(reply_scanner& scanner, std::string_view word) {
    const std::string_view found = scanner.rest.substr(0, word.size());
    const auto same = [](char one, char other) { return capital(one) == other; };
    if (!std::equal(found.begin(), found.end(), word.begin(), word.end(), same)) {
        return false;
    }
    take(scanner, word.size());
    return true;
}

bool take_word(reply_scanner& scanner, std::string_view word) {
    const reply_scanner before = scanner;
    if (!take_prefix(scanner, word)) {
        return false;
    }
    if (!at_end(scanner) && (is_letter(scanner.rest.front()) || is_digit(scanner.rest.front()))) {
        scanner = before;
        return false;
    }
    return true;
}

char take_letter(reply_scanner& scanner) {
    return capital(take(scanner, 1).front());
}

std::optional<int> take_number(reply_scanner& scanner) {
    if (at_end(scanner) || !is_digit(scanner.rest.front())) {
        return std::nullopt;
    }
    int number = 0;
    const char* const begin = scanner.rest.data();
    const auto [stop, error] = std::from_chars(begin, begin + scanner.rest.size(), number);
    take(scanner, static_cast<std::size_t>(stop - begin));
    return error == std::errc() ? number : std::numeric_limits<int>::max();
}

std::optional<std::string_view> take_name(reply_scanner& scanner) {
    // No further than a name can be, or a string of many parts without an end would be searched again by
    // each.
    const auto end = scanner.rest.substr(0, longest_name + 1).find('~');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = take(scanner, end);
    take(scanner, 1);
    return without_outer_blanks(name);
}

std::string_view take_rest(reply_scanner& scanner) {
    return without_outer_blanks(take(scanner, scanner.rest.size()));
}

std::string_view take_to_blank(reply_scanner& scanner) {
    const auto end = scanner.rest.find(' ', 1);
    return take(scanner, std::min(end, scanner.rest.size()));
}
