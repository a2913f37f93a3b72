#include "subjects.h"

#include <vector>

namespace gateway {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";

bool is_plain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

std::vector<std::string_view> words_of(std::string_view subject) {
    std::vector<std::string_view> words;
    for (;;) {
        const auto dot = subject.find('.');
        words.push_back(subject.substr(0, dot));
        if (dot == std::string_view::npos)
            return words;
        subject.remove_prefix(dot + 1);
    }
}

} // namespace

std::string escaped_name(std::string_view name) {
    std::string text;
    for (const char c : name) {
        if (is_plain(c)) {
            text += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        text += '=';
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

std::optional<std::string> name_of_escaped(std::string_view text) {
    std::string name;
    for (std::size_t at = 0; at < text.size(); at++) {
        if (is_plain(text[at])) {
            name += text[at];
            continue;
        }
        if (text[at] != '=' || at + 2 >= text.size())
            return std::nullopt;
        const auto high = digits.find(text[at + 1]), low = digits.find(text[at + 2]);
        if (high == std::string_view::npos || low == std::string_view::npos)
            return std::nullopt;
        const char c = static_cast<char>(high * 16 + low);
        if (is_plain(c)) // each name is written in one way alone
            return std::nullopt;
        name += c;
        at += 2;
    }
    return name.empty() ? std::nullopt : std::optional(name);
}

std::string alive_subject(std::string_view site) {
    return "vr." + std::string(site) + ".alive";
}

std::string router_subject(std::string_view site, std::string_view router, std::string_view what,
                           std::string_view from) {
    std::string subject = "vr." + std::string(site) + '.';
    subject += router == "*" ? "*" : escaped_name(router);
    subject.append(".").append(what);
    if (!from.empty())
        subject.append(".").append(from);
    return subject;
}

std::optional<router_address> router_address_of(std::string_view subject) {
    const std::vector<std::string_view> words = words_of(subject);
    if (words.size() < 4 || words.size() > 5 || words[0] != "vr")
        return std::nullopt;
    const bool has_from = words[3] == "take" || words[3] == "name";
    if (!has_from && words[3] != "evt" && words[3] != "get")
        return std::nullopt;
    const auto router = name_of_escaped(words[2]);
    if (!router || words.size() != (has_from ? 5U : 4U))
        return std::nullopt;
    return router_address{std::string(words[1]), *router, std::string(words[3]),
                          std::string(has_from ? words[4] : std::string_view())};
}

std::string inbox_of(std::string_view site, std::string_view run) {
    return "vi." + std::string(site) + '.' + std::string(run) + '.';
}

bool is_inbox(std::string_view subject) {
    return subject.starts_with("vi.");
}

bool is_in_inbox_of(std::string_view subject, std::string_view site) {
    return subject.starts_with("vi." + std::string(site) + '.');
}

std::string far_name(std::string_view site, std::string_view router) {
    return std::string(site) + ':' + std::string(router);
}

} // namespace gateway
