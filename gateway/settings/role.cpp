#include "role.h"

#include <array>
#include <utility>

namespace gateway {
namespace {

constexpr std::array<std::pair<role, std::string_view>, 5> words = {{
    {role::none, "none"},
    {role::view, "view"},
    {role::operate, "operate"},
    {role::lock, "lock"},
    {role::admin, "admin"},
}};

} // namespace

std::string_view role_word(role right) {
    for (const auto& [value, word] : words)
        if (value == right)
            return word;
    return "none";
}

std::optional<role> role_of_word(std::string_view word) {
    for (const auto& [value, text] : words)
        if (text == word)
            return value;
    return std::nullopt;
}

} // namespace gateway
