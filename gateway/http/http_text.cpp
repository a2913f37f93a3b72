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

bool names_tag(std::string_view header, std::string_view tag) {
    while (!header.empty()) {
        const std::size_t end = std::min(header.find(','), header.size());
        std::string_view shown = trimmed(header.substr(0, end));
        header.remove_prefix(std::min(end + 1, header.size()));
        if (shown.starts_with("W/"))
            shown.remove_prefix(2);
        if (shown == tag || shown == "*")
            return true;
    }
    return false;
}

} // namespace gateway
