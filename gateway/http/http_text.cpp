#include "http_text.h"

#include <algorithm>

namespace gateway {

std::string small_letters(std::string_view text) {
    std::string letters(text);
    std::transform(letters.begin(), letters.end(), letters.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return letters;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

} // namespace gateway
