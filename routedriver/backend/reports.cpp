#include "backend.h"

#include "incoming_report.h"
#include "plain_text.h"
#include "router.h"
#include "text.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

constexpr std::size_t longest_link_text = 1024; // bytes of a reason that are kept

// As strtol reads it, cut down to 0..most.
std::int32_t read_count(std::string_view value, std::int32_t most) {
    const long count = std::strtol(std::string(value).c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp(count, 0L, long{most}));
}

// The number that `text` begins with; negative when it begins with none. Too large a number is the largest
// there is. `rest` is what follows it.
std::int32_t read_number(std::string_view text, std::string_view* rest) {
    if (text.empty() || !is_digit(text.front()))
        return -1;
    const std::optional<std::int32_t> number = leading_number<std::int32_t>(text);
    *rest = text;
    return number.value_or(-1);
}

// "3" is input 3; anything that does not begin with a digit means no source.
std::int32_t read_source(std::string_view value) {
    return read_number(value, &value);
}

// The place (0-based, below `count`) that a key such as "o12.name" addresses, and what follows its number; -1
// when it addresses none.
std::int32_t addressed(std::string_view key, char prefix, std::int32_t count, std::string_view* rest) {
    if (!key.starts_with(prefix))
        return -1;
    const std::int32_t number = read_number(key.substr(1), rest);
    return number < count ? number : -1;
}

void apply_info() {
    resize_picture(read_count(incoming_field("inputs"), max_inputs),
                   read_count(incoming_field("outputs"), max_outputs),
                   incoming_field("output routing controls") == "video,audio");
    backend_gets_salvos = incoming_field("salvo") == "yes";
}

void apply_input_field(std::string_view key, std::string_view value) {
    std::string_view rest;
    const std::int32_t input = addressed(key, 'i', input_count, &rest);
    if (input < 0)
        return;
    if (rest == ".name")
        name_input(input, value);
    else if (rest.starts_with('.'))
        report_input_property(input, rest.substr(1), value);
}

void apply_output_field(std::string_view key, std::string_view value) {
    constexpr std::string_view input_key = ".input.";
    std::string_view rest;
    const std::int32_t output = addressed(key, 'o', output_count, &rest);
    if (output < 0)
        return;
    if (rest == ".name") {
        name_output(output, value);
    } else if (rest.starts_with(input_key)) {
        // What the backend reports is fact, whatever the level.
        const std::string_view level = rest.substr(input_key.size());
        const bool audio = level == "all" || level == "audio";
        const bool video = level == "all" || level == "video";
        const std::int32_t source = read_source(value);
        const bool known = value != "unknown";
        report_source(output, audio, video, source, known);
        takes_hear_source(output, audio, video, source, known);
    } else if (rest.starts_with('.')) {
        report_output_property(output, rest.substr(1), value);
    }
}

void apply_link() {
    const std::string_view state = incoming_field("state");
    const std::string_view text = text_head(incoming_field("text"), longest_link_text);
    if (state == "up") {
        report_link(link_state::up, text);
    } else if (state == "down") {
        report_link(link_state::down, text);
        takes_hear_link_down();
    }
}

void apply_refusal() {
    const std::string_view control = incoming_field("control");
    std::string_view rest;
    const std::int32_t output = read_number(incoming_field("to output"), &rest);
    takes_hear_refusal(output, control != "video", control != "audio",
                       read_source(incoming_field("from input")),
                       text_head(incoming_field("text"), longest_link_text));
}

} // namespace

void handle_backend_report() {
    if (incoming_type() != "message")
        return;
    if (incoming_command() == "info")
        apply_info();
    else if (incoming_command() == "inputs")
        for_each_incoming_field(apply_input_field);
    else if (incoming_command() == "outputs")
        for_each_incoming_field(apply_output_field);
    else if (incoming_command() == "link")
        apply_link();
    else if (incoming_command() == "refused")
        apply_refusal();
}

void read_backend_report_line(std::string_view line) {
    if (!line.empty()) {
        add_report_line(line);
        return;
    }
    if (!incoming_report_empty())
        handle_backend_report();
    clear_incoming_report();
}
