#include "sierra_replies.h"

#include "sierra_reply_scanner.h"

#include <algorithm>
#include <optional>

namespace {

// One source or a number as it stands in X, Y and V.
std::optional<int> read_source(reply_scanner& scanner) {
    if (consume_character(scanner, '-')) {
        return source_disconnected;
    }
    return consume_number(scanner);
}

// The list "1,2,-,0"; nothing when it is malformed.
std::optional<std::vector<int>> read_list(reply_scanner& scanner) {
    std::vector<int> list;
    do {
        const auto number = read_source(scanner);
        if (!number) {
            return std::nullopt;
        }
        list.push_back(*number);
    } while (consume_comma(scanner));
    return list;
}

bool read_crosspoint(const std::vector<int>& list, reply& part) {
    if (list.size() != 3 || list[2] < 0) {
        return false;
    }
    part.kind = reply_kind::crosspoint;
    part.sources = {list[1]};
    part.level = list[2];
    return true;
}

bool read_all_levels(const std::vector<int>& list, reply& part) {
    part.kind = reply_kind::all_levels;
    part.sources.assign(list.begin() + 1, list.end());
    return list.size() == 2;
}

bool read_per_level(const std::vector<int>& list, reply& part) {
    part.kind = reply_kind::per_level;
    part.sources.assign(list.begin() + 1, list.end());
    return list.size() >= 2 && list.size() - 1 <= static_cast<std::size_t>(most_router_levels);
}

bool read_routing(reply_scanner& scanner, char letter, reply& part) {
    const auto list = read_list(scanner);
    if (!list || list->front() < 1) {
        return false;
    }
    part.output = list->front();
    if (letter == 'X') {
        return read_crosspoint(*list, part);
    }
    return letter == 'Y' ? read_all_levels(*list, part) : read_per_level(*list, part);
}

bool read_letters(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::letters;
    const auto letters = consume_name(scanner);
    for (const char letter : letters.value_or("")) {
        if (letter != ' ') {
            part.text.push_back(capital(letter));
        }
    }
    return letters.has_value();
}

bool read_model(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::model;
    const auto model = consume_name(scanner);
    const auto version = consume_name(scanner);
    part.text = std::string(model.value_or("")) + " " + std::string(version.value_or(""));
    return model && version;
}

bool read_level_names(reply_scanner& scanner, int count, reply& part) {
    for (int level = 0; level < count; ++level) {
        const auto name = consume_name(scanner);
        if (!name) {
            return false;
        }
        part.levels.emplace_back(*name);
    }
    consume_character(scanner, '~');
    return true;
}

bool read_size(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::size;
    skip_options(scanner);
    int numbers[3] = {}; // outputs, levels, inputs
    for (int& number : numbers) {
        const auto found = consume_number(scanner);
        if (!found || *found < 1 || !consume_comma(scanner)) {
            return false;
        }
        number = *found;
    }
    part.outputs = std::min(numbers[0], most_router_outputs);
    part.inputs = std::min(numbers[2], most_router_inputs);
    return numbers[1] <= most_router_levels && read_level_names(scanner, numbers[1], part);
}

bool read_lock(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::lock;
    const auto list = read_list(scanner); // output, password, state
    if (!list || list->size() != 3 || list->front() < 1) {
        return false;
    }
    part.output = list->front();
    part.is_locked = list->back() != 0;
    return true;
}

bool read_reset(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::reset;
    part.text = consume_rest(scanner); // a restart counts, whatever its text
    return true;
}

// The texts of G, whose letters are many and differ: one, or several in a row. A router puts a blank behind
// the last one; what looks like a crosspoint before that is part of somebody's name.
bool skip_texts(reply_scanner& scanner) {
    bool is_found = consume_name(scanner).has_value();
    const bool is_text = is_found;
    while (is_found && !at_end(scanner) && scanner.rest.front() != ' ') {
        is_found = consume_name(scanner).has_value();
    }
    return is_text;
}

// Letters and digits, or a letter and its numbers: it may mean something to a router, but not to us.
bool read_other(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::other;
    const reply_scanner before = scanner;
    const char letter = consume_letter(scanner);
    if (letter == 'G') {
        return skip_texts(scanner);
    }
    if (letter >= 'A' && letter <= 'Z' && read_list(scanner) && at_boundary(scanner)) {
        return true;
    }
    scanner = before;
    return consume_plain_word(scanner);
}

// What has no word of its own is a command's letter.
bool read_part(reply_scanner& scanner, reply& part) {
    if (consume_word(scanner, "OK")) {
        part.kind = reply_kind::ok;
        return true;
    }
    if (consume_word(scanner, "ERROR")) {
        part.kind = reply_kind::error;
        part.text = consume_rest(scanner);
        return true;
    }
    if (consume_prefix(scanner, "RESET")) {
        return read_reset(scanner, part);
    }
    if (consume_word(scanner, "FULL ERROR")) { // stands alone, and refuses nothing that was asked
        part.kind = reply_kind::other;
        return true;
    }
    const reply_scanner before = scanner;
    const char letter = consume_letter(scanner);
    switch (letter) {
    case 'X':
    case 'Y':
    case 'V':
        return read_routing(scanner, letter, part);
    case 'I':
        return read_letters(scanner, part);
    case 'Q':
        return read_model(scanner, part);
    case 'L':
        return read_size(scanner, part);
    case 'B':
        return read_lock(scanner, part);
    default:
        scanner = before;
        return read_other(scanner, part);
    }
}

} // namespace

std::vector<reply> parse_replies(std::string_view content) {
    std::vector<reply> parts;
    reply_scanner scanner{content};
    for (skip_blanks(scanner); !at_end(scanner); skip_blanks(scanner)) {
        const std::string_view begin = scanner.rest;
        reply part;
        if (!read_part(scanner, part) || !at_boundary(scanner)) {
            scanner.rest = begin;
            part = {};
            part.text = consume_to_blank(scanner);
        }
        parts.push_back(std::move(part));
    }
    return parts;
}
