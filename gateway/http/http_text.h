// Texts of headers.
#pragma once

#include <string>
#include <string_view>

namespace gateway {

constexpr const char* server_name = "vrdx_gateway"; // of each answer

// ASCII letters made small.
std::string small_letters(std::string_view text);

// Without blanks and tabs around it.
std::string_view trimmed(std::string_view text);

// True when the tag, which holds no comma, is among those of a header If-None-Match, weak ones too, or any is
// meant.
bool names_tag(std::string_view header, std::string_view tag);

} // namespace gateway
