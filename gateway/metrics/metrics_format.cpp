#include "gateway/metrics/metrics_format.h"

#include "gateway/http/http_text.h"

#include <algorithm>
#include <optional>
#include <string>

namespace gateway {

namespace {

// What stands before the next separator that is not inside quotes; it and the separator are cut off.
std::string_view cut_until(std::string_view* text, char separator) {
    bool quoted = false;
    std::size_t end = 0;
    for (; end < text->size() && (quoted || (*text)[end] != separator); end++)
        if ((*text)[end] == '"')
            quoted = !quoted;
    const std::string_view before = text->substr(0, end);
    text->remove_prefix(end < text->size() ? end + 1 : end);
    return trimmed(before);
}

// "0.75" as 750, "1" as 1000; nothing for what is no quality.
std::optional<int> quality_in(std::string_view text) {
    if (text.empty() || text.size() > 5 || (text[0] != '0' && text[0] != '1') ||
        (text.size() > 1 && text[1] != '.'))
        return std::nullopt;
    int quality = (text[0] - '0') * 1000, place = 100;
    for (const char digit : text.substr(std::min<std::size_t>(2, text.size()))) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
        quality += (digit - '0') * place;
        place /= 10;
    }
    return quality <= 1000 ? std::optional(quality) : std::nullopt;
}

struct media_range {
    std::string type;    // small letters
    std::string version; // "" for any
    int quality = 1000;  // in thousandths; 0: not wanted
};

media_range range_in(std::string_view text) {
    media_range found;
    found.type = small_letters(cut_until(&text, ';'));
    while (!text.empty()) {
        std::string_view parameter = cut_until(&text, ';');
        const std::string name = small_letters(cut_until(&parameter, '='));
        if (parameter.size() >= 2 && parameter.front() == '"' && parameter.back() == '"')
            parameter = parameter.substr(1, parameter.size() - 2);
        if (name == "version")
            found.version = parameter;
        else if (name == "q")
            found.quality = quality_in(trimmed(parameter)).value_or(0);
    }
    return found;
}

} // namespace

const char* content_type_of(metrics_format format) {
    return format == metrics_format::open ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                          : "text/plain; version=0.0.4; charset=utf-8";
}

metrics_format wanted_format(std::string_view accept) {
    int open = 0, plain = 0;
    while (!accept.empty()) {
        const media_range range = range_in(cut_until(&accept, ','));
        if (range.type == "application/openmetrics-text" &&
            (range.version.empty() || range.version == "1.0.0"))
            open = std::max(open, range.quality);
        else if (range.type == "text/plain")
            plain = std::max(plain, range.quality);
    }
    return open > 0 && open >= plain ? metrics_format::open : metrics_format::plain;
}

} // namespace gateway
