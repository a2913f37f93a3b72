// Is a text UTF-8?
#pragma once

#include <string_view>

namespace gateway {

// True for what any reader accepts as UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF.
bool is_utf8(std::string_view text);

} // namespace gateway
