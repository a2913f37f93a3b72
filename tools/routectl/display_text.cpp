#include "display_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace {

struct character {
    char32_t code;
    std::size_t bytes; // 1 when not valid
    bool valid;
};

struct code_range {
    char32_t first;
    char32_t last;
};

// Rough classes, enough for names on a table: what is not listed needs one column.
constexpr code_range no_columns[] = {{0x0300, 0x036f}, {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff}, {0x200b, 0x200f},
                                     {0x20d0, 0x20ff}, {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f}, {0xfeff, 0xfeff}};
constexpr code_range two_columns[] = {{0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0xa4cf},
                                      {0xac00, 0xd7a3},   {0xf900, 0xfaff},   {0xfe30, 0xfe6f},
                                      {0xff00, 0xff60},   {0xffe0, 0xffe6},   {0x1f300, 0x1f64f},
                                      {0x1f680, 0x1f6ff}, {0x1f900, 0x1f9ff}, {0x20000, 0x3fffd}};

template<std::size_t size> bool is_among(const code_range (&ranges)[size], char32_t code) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [code](const code_range& range) { return range.first <= code && code <= range.last; });
}

// How many bytes a character has, by its first byte, and the bits of the code in that byte.
struct leading_byte {
    std::size_t bytes;
    char32_t bits;
    char32_t smallest; // a smaller code in so many bytes is no valid character
};

leading_byte classify(unsigned char byte) {
    if (byte < 0x80)
        return {1, byte, 0};
    if (byte >= 0xc2 && byte < 0xe0)
        return {2, byte & 0x1fU, 0x80};
    if (byte >= 0xe0 && byte < 0xf0)
        return {3, byte & 0x0fU, 0x800};
    if (byte >= 0xf0 && byte < 0xf5)
        return {4, byte & 0x07U, 0x10000};
    return {0, 0, 0};
}

// The character at the start of `text`, which is not empty.
character first_character(std::string_view text) {
    constexpr character invalid{0xfffd, 1, false};
    const leading_byte leading = classify(static_cast<unsigned char>(text.front()));
    if (leading.bytes == 0 || leading.bytes > text.size())
        return invalid;
    char32_t code = leading.bits;
    for (std::size_t i = 1; i < leading.bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xc0U) != 0x80)
            return invalid;
        code = code << 6U | (byte & 0x3fU);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < leading.smallest || code > 0x10ffff || surrogate)
        return invalid;
    return {code, leading.bytes, true};
}

bool is_control(char32_t code) {
    const bool line_separator = code == 0x2028 || code == 0x2029;
    const bool direction = (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || line_separator || direction;
}

std::size_t columns_of_code(char32_t code) {
    if (is_among(no_columns, code))
        return 0;
    return is_among(two_columns, code) ? 2 : 1;
}

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(byte));
        text += escape.data();
    }
    return text;
}

std::string escaped(std::string_view bytes, const character& one) {
    if (!one.valid)
        return hexadecimal(bytes);
    switch (one.code) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return is_control(one.code) ? hexadecimal(bytes) : std::string(bytes);
    }
}

} // namespace

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const character one = first_character(text);
        if (!one.valid)
            shown += "\xef\xbf\xbd";
        else if (is_control(one.code))
            shown += '?';
        else
            shown.append(text.substr(0, one.bytes));
        text.remove_prefix(one.bytes);
    }
    return shown;
}

std::size_t columns_of(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const character one = first_character(text);
        columns += columns_of_code(one.code);
        text.remove_prefix(one.bytes);
    }
    return columns;
}

std::string cut_to(std::string_view text, std::size_t columns) {
    if (columns_of(text) <= columns)
        return std::string(text);
    if (columns == 0)
        return {};
    std::size_t kept = 0;
    std::size_t used = 0;
    while (kept < text.size()) {
        const character one = first_character(text.substr(kept));
        used += columns_of_code(one.code);
        if (used > columns - 1)
            break;
        kept += one.bytes;
    }
    return std::string(text.substr(0, kept)) + "…";
}

std::string pad_right(std::string text, std::size_t columns) {
    const std::size_t used = columns_of(text);
    return used < columns ? text.append(columns - used, ' ') : text;
}

std::string pad_left(std::string text, std::size_t columns) {
    const std::size_t used = columns_of(text);
    return used < columns ? text.insert(0, columns - used, ' ') : text;
}

std::string in_quotes(std::string_view text) {
    std::string shown = "\"";
    while (!text.empty()) {
        const character one = first_character(text);
        shown += escaped(text.substr(0, one.bytes), one);
        text.remove_prefix(one.bytes);
    }
    return shown += '"';
}
