#include "sierra_reply_scanner.h"

#include "plain_text.h"

#include <algorithm>

namespace {

constexpr std::size_t longest_name = 1024;

bool is_letter(char character) {
    return capital(character) >= 'A' && capital(character) <= 'Z';
}

std::string_view consume(reply_scanner& scanner, std::size_t count) {
    const std::string_view piece = scanner.rest.substr(0, count);
    scanner.rest.remove_prefix(piece.size());
    return piece;
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
    consume(scanner, std::min(scanner.rest.find_first_not_of(' '), scanner.rest.size()));
}

void skip_options(reply_scanner& scanner) {
    while (!at_end(scanner) && (is_letter(scanner.rest.front()) || scanner.rest.front() == '(')) {
        const bool is_list = scanner.rest.front() == '(';
        consume(scanner, is_list ? std::min(scanner.rest.find(')'), scanner.rest.size() - 1) + 1 : 1);
    }
}

bool consume_character(reply_scanner& scanner, char character) {
    if (at_end(scanner) || scanner.rest.front() != character) {
        return false;
    }
    consume(scanner, 1);
    return true;
}

bool consume_comma(reply_scanner& scanner) {
    const bool is_comma = consume_character(scanner, ',');
    if (is_comma) {
        skip_blanks(scanner);
    }
    return is_comma;
}

bool consume_plain_word(reply_scanner& scanner) {
    const std::string_view word = scanner.rest.substr(0, scanner.rest.find(' '));
    const auto is_plain = [](char one) { return is_letter(one) || is_digit(one); };
    if (word.empty() || !is_letter(word.front()) || !std::all_of(word.begin(), word.end(), is_plain)) {
        return false;
    }
    consume(scanner, word.size());
    return true;
}

bool consume_prefix(reply_scanner& scanner, std::string_view word) {
    const std::string_view found = scanner.rest.substr(0, word.size());
    const auto same = [](char one, char other) { return capital(one) == other; };
    if (!std::equal(found.begin(), found.end(), word.begin(), word.end(), same)) {
        return false;
    }
    consume(scanner, word.size());
    return true;
}

bool consume_word(reply_scanner& scanner, std::string_view word) {
    const reply_scanner before = scanner;
    if (!consume_prefix(scanner, word)) {
        return false;
    }
    if (!at_end(scanner) && (is_letter(scanner.rest.front()) || is_digit(scanner.rest.front()))) {
        scanner = before;
        return false;
    }
    return true;
}

char consume_letter(reply_scanner& scanner) {
    return capital(consume(scanner, 1).front());
}

std::optional<int> consume_number(reply_scanner& scanner) {
    if (at_end(scanner) || !is_digit(scanner.rest.front())) {
        return std::nullopt;
    }
    return leading_number(scanner.rest);
}

std::optional<std::string_view> consume_name(reply_scanner& scanner) {
    // Not further than the longest name: otherwise each part of a long string would search all of it.
    const auto end = scanner.rest.substr(0, longest_name + 1).find('~');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = consume(scanner, end);
    consume(scanner, 1);
    return without_outer_blanks(name);
}

std::string_view consume_rest(reply_scanner& scanner) {
    return without_outer_blanks(consume(scanner, scanner.rest.size()));
}

std::string_view consume_to_blank(reply_scanner& scanner) {
    const auto end = scanner.rest.find(' ', 1);
    return consume(scanner, std::min(end, scanner.rest.size()));
}
