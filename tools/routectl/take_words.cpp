#include "take_words.h"

#include "display_text.h"
#include "plain_text.h"

#include <algorithm>
#include <map>

namespace {

using vrdx::source_none;

constexpr std::size_t shown_columns = 60;
constexpr const char* forms = "write OUT=IN, OUT=AUDIO,VIDEO or OUT.audio=IN";

// What one word means.
struct word_meaning {
    std::vector<int> outputs;
    std::optional<int> audio;
    std::optional<int> video;
};

enum class level { all, audio, video };

struct router_ports {
    port_names inputs;
    port_names outputs;
    bool split_levels;
};

// Cuts ".audio" or ".video" off, unless the whole is the name of an output.
level cut_level(const port_names& outputs, std::string_view* text) {
    for (const auto& [suffix, which] : {std::pair<std::string_view, level>{".audio", level::audio},
                                        std::pair<std::string_view, level>{".video", level::video}}) {
        if (!text->ends_with(suffix) || is_whole_name(outputs, *text))
            continue;
        text->remove_suffix(suffix.size());
        return which;
    }
    return level::all;
}

int find_source(const port_names& inputs, std::string_view text, std::string* error) {
    return text == "none" || text == "0" ? source_none : find_port(inputs, text, error);
}

// "IN" or "AUDIO,VIDEO"
bool read_sources(const router_ports& router, level which, std::string_view text, word_meaning* meaning,
                  std::string* error) {
    const auto comma = is_whole_name(router.inputs, text) ? std::string_view::npos : text.find(',');
    const int first = find_source(router.inputs, text.substr(0, comma), error);
    const int second = comma == std::string_view::npos || first < 0
                           ? first
                           : find_source(router.inputs, text.substr(comma + 1), error);
    if (second < 0)
        return false;
    if (comma != std::string_view::npos && which != level::all) {
        *error = "one level has one source";
        return false;
    }
    if (which != level::video)
        meaning->audio = first;
    if (which != level::audio)
        meaning->video = second;
    if (meaning->audio == meaning->video || router.split_levels)
        return true;
    *error = "this router switches video and audio together";
    return false;
}

// Reads the word divided at `equals`.
bool read_divided(const router_ports& router, std::string_view word, std::size_t equals,
                  word_meaning* meaning, std::string* error) {
    std::string_view left = word.substr(0, equals);
    if (left.empty()) {
        *error = std::string("no output stands before \"=\": ") + forms;
        return false;
    }
    if (equals + 1 == word.size()) {
        *error = "no input stands behind \"=\"; \"none\" is no source";
        return false;
    }
    const level which = cut_level(router.outputs, &left);
    meaning->outputs = find_ports(router.outputs, left, error);
    return !meaning->outputs.empty() && read_sources(router, which, word.substr(equals + 1), meaning, error);
}

// A name may hold "=": the word is divided where both sides mean something.
bool read_word(const router_ports& router, std::string_view word, word_meaning* meaning, std::string* error) {
    std::size_t readings = 0;
    std::string reason;
    for (auto equals = word.find('='); equals != std::string_view::npos;
         equals = word.find('=', equals + 1)) {
        word_meaning one;
        std::string why;
        if (read_divided(router, word, equals, &one, &why)) {
            ++readings;
            *meaning = std::move(one);
        } else if (reason.empty()) {
            reason = why;
        }
    }
    if (readings == 1)
        return true;
    if (readings > 1)
        reason = "it can be read in more than one way, as names hold \"=\"; use numbers";
    *error = in_quotes(cut_to(word, shown_columns)) + " is no take: " + (reason.empty() ? forms : reason);
    return false;
}

} // namespace

std::vector<wanted_take> read_take_words(const std::vector<std::string>& words, const router_picture& picture,
                                         std::string* error) {
    const router_ports router{input_names_of(picture), output_names_of(picture), picture.split_levels};
    std::map<int, wanted_take> takes;
    for (const std::string& word : words) {
        word_meaning meaning;
        if (!read_word(router, word, &meaning, error))
            return {};
        for (const int output : meaning.outputs) {
            wanted_take& take = takes[output];
            take.output = output;
            if (meaning.audio)
                take.audio = meaning.audio;
            if (meaning.video)
                take.video = meaning.video;
        }
    }
    std::vector<wanted_take> all;
    all.reserve(takes.size());
    for (const auto& [output, take] : takes)
        all.push_back(take);
    return all;
}

std::vector<output_take> read_numbered_takes(const std::vector<std::string>& words, std::string* error) {
    std::vector<output_take> takes;
    for (const std::string& word : words) {
        const std::string_view text = word;
        const auto equals = text.find('=');
        const int output =
            equals == std::string_view::npos ? -1 : number_of_digits(text.substr(0, equals)).value_or(-1);
        const std::string_view sources = output < 1 ? std::string_view() : text.substr(equals + 1);
        const auto comma = sources.find(',');
        const auto number = [](std::string_view one) {
            return one == "none" ? 0 : number_of_digits(one).value_or(-1);
        };
        const int audio = number(sources.substr(0, comma));
        const int video = comma == std::string_view::npos ? audio : number(sources.substr(comma + 1));
        if (output < 1 || audio < 0 || video < 0) {
            *error = in_quotes(cut_to(text, shown_columns)) +
                     " is no take: this driver needs numbers, OUT=IN or OUT=AUDIO,VIDEO";
            return {};
        }
        takes.push_back({output, {audio, video}});
    }
    return takes;
}
