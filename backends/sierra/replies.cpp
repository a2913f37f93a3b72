#include "replies.h"

#include "reply_scanner.h"

#include <algorithm>
#include <optional>

namespace {

// One source or a number as it stands in X, Y and V.
std::optional<int> take_source(reply_scanner& scanner) {
    if (take_character(scanner, '-')) {
        return source_disconnected;
    }
    return take_number(scanner);
}

// The list "1,2,-,0"; nothing when it is malformed.
std::optional<std::vector<int>> take_list(reply_scanner& scanner) {
    std::vector<int> list;
    do {
        const auto number = take_source(scanner);
        if (!number) {
            return std::nullopt;
        }
        list.push_back(*number);
    } while (take_character(scanner, ','));
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

bool take_routing(reply_scanner& scanner, char letter, reply& part) {
    const auto list = take_list(scanner);
    if (!list || list->front() < 1) {
        return false;
    }
    part.output = list->front();
    if (letter == 'X') {
        return read_crosspoint(*list, part);
    }
    return letter == 'Y' ? read_all_levels(*list, part) : read_per_level(*list, part);
}

bool take_letters(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::letters;
    const auto letters = take_name(scanner);
    for (const char letter : letters.value_or("")) {
        if (letter != ' ') {
            part.text.push_back(capital(letter));
        }
    }
    return letters.has_value();
}

bool take_model(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::model;
    const auto model = take_name(scanner);
    const auto version = take_name(scanner);
    part.text = std::string(model.value_or("")) + " " + std::string(version.value_or(""));
    return model && version;
}

bool take_level_names(reply_scanner& scanner, int count, reply& part) {
    for (int level = 0; level < count; ++level) {
        const auto name = take_name(scanner);
        if (!name) {
            return false;
        }
        part.levels.emplace_back(*name);
    }
    take_character(scanner, '~');
    return true;
}

bool take_size(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::size;
    skip_letters(scanner); // options
    int numbers[3] = {};   // outputs, levels, inputs
    for (int& number : numbers) {
        const auto taken = take_number(scanner);
        if (!taken || *taken < 1 || !take_character(scanner, ',')) {
            return false;
        }
        number = *taken;
    }
    part.outputs = std::min(numbers[0], most_router_outputs);
    part.inputs = std::min(numbers[2], most_router_inputs);
    return numbers[1] <= most_router_levels && take_level_names(scanner, numbers[1], part);
}

bool take_reset(reply_scanner& scanner, reply& part) {
    part.kind = reply_kind::reset;
    part.text = take_rest(scanner); // a restart counts, whatever its text
    return true;
}

bool take_other(reply_scanner& scanner, char letter, reply& part) {
    part.kind = reply_kind::other;
    const bool has_numbers = take_list(scanner).has_value();
    return has_numbers && letter >= 'A' && letter <= 'Z';
}

// What has no word of its own is a command's letter.
bool take_part(reply_scanner& scanner, reply& part) {
    if (take_word(scanner, "OK")) {
        part.kind = reply_kind::ok;
        return true;
    }
    if (take_word(scanner, "ERROR")) {
        part.kind = reply_kind::error;
        part.text = take_rest(scanner);
        return true;
    }
    if (take_prefix(scanner, "RESET")) {
        return take_reset(scanner, part);
    }
    const char letter = take_letter(scanner);
    switch (letter) {
    case 'X':
    case 'Y':
    case 'V':
        return take_routing(scanner, letter, part);
    case 'I':
        return take_letters(scanner, part);
    case 'Q':
        return take_model(scanner, part);
    case 'L':
        return take_size(scanner, part);
    default:
        return take_other(scanner, letter, part);
    }
}

} // namespace

std::vector<reply> parse_replies(std::string_view content) {
    std::vector<reply> parts;
    reply_scanner scanner{content};
    for (skip_blanks(scanner); !at_end(scanner); skip_blanks(scanner)) {
        const std::string_view begin = scanner.rest;
        reply part;
        if (!take_part(scanner, part) || !at_boundary(scanner)) {
            scanner.rest = begin;
            part = {};
            part.text = take_to_blank(scanner);
        }
        parts.push_back(std::move(part));
    }
    return parts;
}
