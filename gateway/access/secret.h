// Secrets of 256 random bits, as text, and the hash that is kept of them.
#pragma once

#include <string>
#include <string_view>

namespace gateway {

constexpr std::size_t secret_text_size = 43; // base64url without padding
constexpr std::string_view token_text_begin = "vrdx_";

// 43 characters of A-Z a-z 0-9 - _.
std::string new_secret();

// 32 bytes (BLAKE2b). The secret is too long to be guessed, so that the hash needs neither salt nor time.
std::string hash_of(std::string_view secret);

} // namespace gateway
