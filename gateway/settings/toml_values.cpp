#include "toml_values.h"

#include "text.h"

#include <array>

namespace gateway {

std::string on_one_line(std::string_view text) {
    std::string shown(text);
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    return shown;
}

std::string quoted(std::string_view text) {
    return '"' + on_one_line(text_head(text, 80)) + '"';
}

std::string wrong_type(const toml::node& value) {
    constexpr std::array<const char*, 10> types = {"nothing",        "a table",        "an array",  "a text",
                                                   "a whole number", "a number",       "a boolean", "a date",
                                                   "a time",         "a date and time"};
    return std::string("cannot be ") + types.at(static_cast<std::size_t>(value.type()));
}

std::string read_texts(const toml::node& value, std::size_t most, std::vector<std::string>* texts) {
    if (const auto* one = value.as_string()) {
        texts->push_back(one->get());
        return {};
    }
    const toml::array* const several = value.as_array();
    if (several == nullptr)
        return wrong_type(value);
    if (several->empty() || several->size() > most)
        return "has " + std::to_string(several->size()) + " values";
    for (const toml::node& entry : *several) {
        if (!entry.is_string())
            return "has a value that " + wrong_type(entry);
        texts->push_back(entry.as_string()->get());
    }
    return {};
}

std::string read_path(const toml::node& node, std::string* path) {
    const auto* const text = node.as_string();
    if (text == nullptr)
        return wrong_type(node);
    if (!text->get().starts_with('/') || text->get().find('\0') != std::string::npos)
        return "cannot be " + quoted(text->get());
    *path = text->get();
    return {};
}

} // namespace gateway
