#include "endpoint_requests.h"

#include "plain_text.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t most_collected = 65536; // far more than any router has crosspoints
constexpr std::size_t longest_quoted = 60;    // bytes
constexpr std::uint64_t us_per_ms = 1000;

template<typename handler, typename... values> void call(const handler& one, const values&... with) {
    if (one) {
        one(with...);
    }
}

struct take_words {
    std::string_view output;
    std::string_view source;
    std::optional<std::string_view> level;
};

std::optional<endpoint_level> level_in(const std::optional<std::string_view>& word) {
    if (!word) {
        return endpoint_level::all;
    }
    if (*word == "video" || *word == "audio") {
        return *word == "video" ? endpoint_level::video : endpoint_level::audio;
    }
    return std::nullopt;
}

std::string beyond_text(const char* what, int number) {
    return std::string("take skipped: there is no ") + what + " " + std::to_string(number + 1L);
}

// The take; nothing, with *fault set, when it cannot be one of any router.
std::optional<endpoint_take> read_take(const take_words& words, std::string* fault) {
    const std::optional<int> source =
        words.source == "none" ? std::optional(no_source) : whole_number(words.source);
    const std::optional<int> output = whole_number(words.output);
    const std::optional<endpoint_level> level = level_in(words.level);
    if (!source || (*source < 0 && words.source != "none")) {
        *fault = "take from the unreadable input " + endpoint_quoted(words.source) + " skipped";
    } else if (!output || *output < 0) {
        *fault = "take to the unreadable output " + endpoint_quoted(words.output) + " skipped";
    } else if (!level) {
        *fault = "take of the unknown level " + endpoint_quoted(*words.level) + " skipped";
    } else if (*output >= most_router_outputs) {
        *fault = beyond_text("output", *output);
    } else if (*source >= most_router_inputs) {
        *fault = beyond_text("input", *source);
    } else {
        return endpoint_take{*output, *source, *level};
    }
    return std::nullopt;
}

void add_take(const take_words& words, endpoint_takes& takes, const endpoint_handlers& handlers) {
    std::string fault = "take skipped: too many wait for their flush";
    const auto take = takes.size() < most_collected ? read_take(words, &fault) : std::nullopt;
    if (take) {
        takes.push_back(*take);
    } else {
        call(handlers.skipped, fault);
    }
}

void on_route_output(const TavrixAPIRouterMessage& message, endpoint_collection& collection,
                     const endpoint_handlers& handlers) {
    const std::string& queue = message_field(message, "queue");
    if (queue == "add") {
        take_words words = {message_field(message, "to output"), message_field(message, "from input"), {}};
        if (message.fields.count("control") > 0) {
            words.level = message_field(message, "control");
        }
        add_take(words, collection.takes, handlers);
    } else if (queue == "flush") {
        const endpoint_takes takes = std::exchange(collection.takes, {});
        call(handlers.switch_takes, takes, never_expires);
    } else {
        call(handlers.skipped, "route output with the unknown queue " + endpoint_quoted(queue) + " skipped");
    }
}

// The text up to the next blank, which is removed with it.
std::string_view next_word(std::string_view& text) {
    const auto end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

// "OUTPUT INPUT" or "OUTPUT INPUT LEVEL".
take_words words_of(std::string_view text) {
    take_words words;
    words.output = next_word(text);
    words.source = next_word(text);
    if (!text.empty()) {
        words.level = text;
    }
    return words;
}

// With an end of its time that cannot be read nothing is known about the whole: it is not done.
void on_route_outputs(const TavrixAPIRouterMessage& message, std::uint64_t now_us,
                      const endpoint_handlers& handlers) {
    endpoint_takes takes;
    const std::string prefix = "take.";
    for (auto field = message.fields.lower_bound(prefix);
         field != message.fields.end() && field->first.compare(0, prefix.size(), prefix) == 0; ++field) {
        add_take(words_of(field->second), takes, handlers);
    }
    const std::string& expires = message_field(message, "expires");
    const auto expires_ms = whole_number<std::uint64_t>(expires);
    if (!expires.empty() && !expires_ms) {
        call(handlers.skipped, "route outputs with an unreadable time to end at skipped");
        return;
    }
    const std::uint64_t expires_us =
        expires_ms && *expires_ms < never_expires / us_per_ms ? *expires_ms * us_per_ms : never_expires;
    if (expires_us <= now_us) {
        call(handlers.refuse_late, takes);
    } else {
        call(handlers.switch_takes, takes, expires_us);
    }
}

void on_report(const TavrixAPIRouterMessage& message, const endpoint_handlers& handlers) {
    const std::string& what = message_field(message, "what");
    if (what == "outputs") {
        call(handlers.report_outputs);
    } else if (what == "inputs") {
        call(handlers.report_inputs);
    } else {
        call(handlers.skipped, "report of the unknown " + endpoint_quoted(what) + " skipped");
    }
}

// Reads "output.3.name".
std::optional<endpoint_property> read_property(std::string_view key, const std::string& value) {
    endpoint_property property;
    const std::string_view kind = key.substr(0, std::min(key.find('.'), key.size()));
    property.of_output = kind == "output";
    if ((!property.of_output && kind != "input") || kind.size() == key.size()) {
        return std::nullopt;
    }
    key.remove_prefix(kind.size() + 1);
    const std::optional<int> number = leading_number(key);
    const int end = property.of_output ? most_router_outputs : most_router_inputs;
    if (!number || *number < 0 || *number >= end || key.size() < 2 || key.front() != '.') {
        return std::nullopt;
    }
    property.number = *number;
    property.name = key.substr(1);
    property.value = value;
    return property;
}

void on_router_set(const TavrixAPIRouterMessage& message, const endpoint_handlers& handlers) {
    std::vector<endpoint_property> properties;
    for (const auto& [key, value] : message.fields) {
        if (auto property = read_property(key, value)) {
            properties.push_back(std::move(*property));
        } else {
            call(handlers.skipped, "router set of the unknown " + endpoint_quoted(key) + " skipped");
        }
    }
    call(handlers.set_properties, properties);
}

void on_set(const TavrixAPIRouterMessage& message, const endpoint_handlers& handlers) {
    const std::string& name = message_field(message, "name");
    if (name.empty()) {
        call(handlers.skipped, "setting without a name skipped");
    } else {
        call(handlers.change_setting, name, message_field(message, "value"));
    }
}

} // namespace

const std::string& message_field(const TavrixAPIRouterMessage& message, const std::string& name) {
    static const std::string absent;
    const auto entry = message.fields.find(name);
    return entry == message.fields.end() ? absent : entry->second;
}

std::string endpoint_quoted(std::string_view text) {
    std::string shown = "'" + std::string(text.substr(0, longest_quoted)) + "'";
    const auto is_control = [](char byte) { return (byte >= 0 && byte < ' ') || byte == 127; };
    std::replace_if(shown.begin(), shown.end(), is_control, ' ');
    return shown;
}

void endpoint_dispatch(const TavrixAPIRouterMessage& message, std::uint64_t now_us,
                       endpoint_collection& collection, const endpoint_handlers& handlers) {
    const bool is_command = message.type == "command";
    if (is_command && message.command == "route output") {
        on_route_output(message, collection, handlers);
    } else if (is_command && message.command == "route outputs") {
        on_route_outputs(message, now_us, handlers);
    } else if (is_command && message.command == "report") {
        on_report(message, handlers);
    } else if (is_command && message.command == "router set") {
        on_router_set(message, handlers);
    } else if (message.type == "message" && message.command == "set") {
        on_set(message, handlers);
    } else {
        call(handlers.skipped, "unknown message " + endpoint_quoted(message.command) + " of type " +
                                   endpoint_quoted(message.type) + " skipped");
    }
}
