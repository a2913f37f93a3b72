// The bytes of one input, spent on decisions from the front. When they are used up all numbers are their
// lowest value and all texts are empty.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

struct byte_source {
    const std::uint8_t* at;
    const std::uint8_t* end;
};

inline bool used_up(const byte_source& source) {
    return source.at == source.end;
}

inline std::uint8_t next_byte(byte_source& source) {
    return used_up(source) ? std::uint8_t{0} : *source.at++;
}

// 0..below-1; `below` is at most 256.
inline int next_choice(byte_source& source, int below) {
    return next_byte(source) % below;
}

inline std::uint32_t next_word(byte_source& source) {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8U | next_byte(source);
    return word;
}

// A length in one byte, then that many bytes, or what is left.
inline std::string next_text(byte_source& source) {
    const std::size_t wanted = next_byte(source);
    const std::size_t length = std::min(wanted, static_cast<std::size_t>(source.end - source.at));
    std::string text(reinterpret_cast<const char*>(source.at), length);
    source.at += length;
    return text;
}
