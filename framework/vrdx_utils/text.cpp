#include "text.h"

#include <algorithm>
#include <cstring>

namespace {

bool is_blank(char byte) {
    return byte == ' ' || byte == '\t';
}

// Cuts the blanks off both ends of `text`, in place.
char* trim(char* text) {
    while (is_blank(*text))
        text++;
    char* end = text + std::strlen(text);
    while (end > text && is_blank(end[-1]))
        end--;
    *end = '\0';
    return text;
}

// True for the second and further bytes of a letter in UTF-8.
bool continues_letter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

constexpr std::size_t longest_letter = 4;

} // namespace

char* chomp(char* line) {
    std::size_t length = std::strlen(line);
    if (length > 0 && line[length - 1] == '\n')
        length--;
    if (length > 0 && line[length - 1] == '\r')
        length--;
    line[length] = '\0';
    return line;
}

void divide_name_equ_value_pair(char* text, const char** name, const char** value) {
    *value = nullptr;
    if (char* equals = std::strchr(text, '=')) {
        *equals = '\0';
        *value = trim(equals + 1);
    }
    const char* trimmed = trim(text);
    *name = *trimmed != '\0' ? trimmed : nullptr;
}

std::string_view text_head(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return text;
    std::size_t end = most;
    while (end > 0 && most - end < longest_letter - 1 && continues_letter(text[end]))
        --end;
    return text.substr(0, continues_letter(text[end]) ? most : end);
}

std::string_view text_tail(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return text;
    std::string_view tail = text.substr(text.size() - most);
    std::size_t begin = 0;
    while (begin < tail.size() && begin < longest_letter - 1 && continues_letter(tail[begin]))
        ++begin;
    return begin < tail.size() && continues_letter(tail[begin]) ? tail : tail.substr(begin);
}

std::size_t longest_that_fits(std::vector<std::size_t> lengths, std::size_t room) {
    if (lengths.empty())
        return room;
    std::sort(lengths.begin(), lengths.end());
    std::size_t left = lengths.size();
    for (const std::size_t length : lengths) {
        if (length > room / left)
            return room / left;
        room -= length;
        --left;
    }
    return lengths.back();
}
