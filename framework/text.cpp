#include "text.h"

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
