#include "request_target.h"

#include "utf8.h"

#include <algorithm>
#include <cctype>

namespace gateway {

namespace {

int hex_digit(char letter) {
    if (letter >= '0' && letter <= '9')
        return letter - '0';
    const char small = static_cast<char>(letter | 0x20);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

bool is_control(char letter) {
    return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f;
}

// Appends the decoded text. False for what stands for no byte, and for a control character.
bool decode(std::string_view text, bool plus_is_blank, std::string* decoded) {
    for (std::size_t at = 0; at < text.size(); at++) {
        char letter = text[at];
        if (letter == '%') {
            if (text.size() - at < 3)
                return false;
            const int high = hex_digit(text[at + 1]), low = hex_digit(text[at + 2]);
            if (high < 0 || low < 0)
                return false;
            letter = static_cast<char>(high * 16 + low);
            at += 2;
        } else if (letter == '+' && plus_is_blank) {
            letter = ' ';
        }
        if (is_control(letter))
            return false;
        *decoded += letter;
    }
    return true;
}

std::string_view cut(std::string_view* text, char separator) {
    const std::size_t end = std::min(text->find(separator), text->size());
    const std::string_view part = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return part;
}

// The path without its first '/', part by part: what a part decodes to has no '/' in it.
std::string read_path(std::string_view text, std::string* path) {
    while (true) {
        const bool last = text.find('/') == std::string_view::npos;
        std::string part;
        if (!decode(cut(&text, '/'), false, &part))
            return "The path has a % that is not followed by two hexadecimal digits, or a control character.";
        if (part.find_first_of("/\\") != std::string::npos)
            return "A slash or backslash inside a part of the path is not possible.";
        if (part == "." || part == "..")
            return "\".\" and \"..\" in a path are not possible; name the path itself.";
        *path += '/';
        *path += part;
        if (last)
            break;
    }
    return is_utf8(*path) ? "" : "The path is not UTF-8.";
}

std::string read_query(std::string_view text, std::vector<std::pair<std::string, std::string>>* query) {
    while (!text.empty()) {
        std::string_view item = cut(&text, '&');
        if (item.empty())
            continue;
        std::string name, value;
        if (!decode(cut(&item, '='), true, &name) || !decode(item, true, &value))
            return "The query has a % that is not followed by two hexadecimal digits, or a control "
                   "character.";
        if (!is_utf8(name) || !is_utf8(value))
            return "The query is not UTF-8.";
        query->emplace_back(std::move(name), std::move(value));
    }
    return "";
}

bool begins_with_scheme(std::string_view text, std::string_view scheme) {
    return text.size() > scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), text.begin(), [](char wanted, char letter) {
               return wanted == std::tolower(static_cast<unsigned char>(letter));
           });
}

} // namespace

std::string read_target(std::string_view text, request_target* target) {
    *target = {};
    if (std::any_of(text.begin(), text.end(), [](char letter) {
            return static_cast<unsigned char>(letter) <= 0x20 || letter == 0x7f || letter == '#' ||
                   letter == '\\';
        }))
        return "The target has a character that has to be percent-encoded.";
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (!begins_with_scheme(text, scheme))
            continue;
        text.remove_prefix(scheme.size());
        const std::size_t end = std::min(text.find_first_of("/?"), text.size());
        target->authority = text.substr(0, end);
        text.remove_prefix(end);
        if (target->authority.empty() || target->authority.find('@') != std::string::npos)
            return "The target names no host, or a user; possible is http://HOST[:PORT]/PATH.";
        if (text.empty() || text[0] == '?') {
            target->path = "/";
            return read_query(text.empty() ? text : text.substr(1), &target->query);
        }
        break;
    }
    if (text.empty() || text[0] != '/')
        return "The target has to be a path that begins with \"/\".";
    std::string_view path = cut(&text, '?');
    path.remove_prefix(1);
    const std::string problem = read_path(path, &target->path);
    return problem.empty() ? read_query(text, &target->query) : problem;
}

} // namespace gateway
