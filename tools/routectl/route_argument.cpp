#include "route_argument.h"

#include "decimal_number.h"
#include "display_text.h"

namespace {

int input_in(std::string_view text) {
    return text == "none" ? 0 : decimal_number(text);
}

} // namespace

std::optional<take> parse_take(std::string_view text, std::string* error) {
    const auto fail = [&](const char* reason) {
        *error = in_quotes(cut_to(text, 60)) + " is no take: " + reason;
        return std::nullopt;
    };
    const auto equals = text.find('=');
    if (equals == std::string_view::npos)
        return fail("write OUT=IN or OUT=AUDIO,VIDEO");
    const int output = decimal_number(text.substr(0, equals));
    if (output < 1)
        return fail("the output is a number from 1");
    const std::string_view sources = text.substr(equals + 1);
    const auto comma = sources.find(',');
    const int audio = input_in(sources.substr(0, comma));
    const int video = comma == std::string_view::npos ? audio : input_in(sources.substr(comma + 1));
    if (audio < 0 || video < 0)
        return fail("an input is a number from 1, or 0 or \"none\" for no source");
    return take{output, {audio, video}};
}

std::string take_argument(const take& one) {
    std::string text = std::to_string(one.output) + '=' + std::to_string(one.source.audio);
    if (one.source.audio != one.source.video)
        text += ',' + std::to_string(one.source.video);
    return text;
}
