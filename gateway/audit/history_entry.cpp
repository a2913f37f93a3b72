#include "history_entry.h"

#include <array>

namespace gateway {

const char* entry_kind_word(entry_kind kind) {
    constexpr std::array<const char*, 8> words = {"take",  "name",    "lock", "preset",
                                                  "login", "request", "gap",  "token"};
    return words.at(static_cast<std::size_t>(kind));
}

namespace {

std::string one_source(int source) {
    return source < 0 ? "?" : std::to_string(source);
}

} // namespace

std::string source_text(bool split_levels, int video, int audio) {
    if (split_levels)
        return one_source(video) + "," + one_source(audio);
    return one_source(video >= 0 ? video : audio);
}

} // namespace gateway
