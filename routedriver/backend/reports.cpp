#include "backend.h"

#include "router.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string_view>

TavrixAPIRouterMessage incoming_report;

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// An absent field counts as empty.
const std::string& field(const std::string& name) {
    static const std::string absent;
    const auto found = incoming_report.fields.find(name);
    return found != incoming_report.fields.end() ? found->second : absent;
}

std::int32_t read_count(const std::string& value, std::int32_t most) {
    return static_cast<std::int32_t>(std::clamp(std::strtol(value.c_str(), nullptr, 10), 0L, long{most}));
}

// The number that `text` begins with; negative when it begins with none. Too large a number is the largest
// there is. `rest` is what follows it.
std::int32_t read_number(std::string_view text, std::string_view* rest) {
    if (text.empty() || !is_digit(text.front()))
        return -1;
    std::int32_t number = 0;
    const char* const text_end = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), text_end, number);
    *rest = {end, static_cast<std::size_t>(text_end - end)};
    return error == std::errc::result_out_of_range ? std::numeric_limits<std::int32_t>::max() : number;
}

// "3" is input 3; anything that does not begin with a digit means no source.
std::int32_t read_source(std::string_view value) {
    return read_number(value, &value);
}

// The element that a key such as "o12.name" addresses, and what follows its number; null when it addresses
// none.
template<typename element>
element* addressed(std::string_view key, char prefix, std::vector<element>& list, std::string_view* rest) {
    if (!key.starts_with(prefix))
        return nullptr;
    const std::int32_t number = read_number(key.substr(1), rest);
    return number >= 0 && static_cast<std::size_t>(number) < list.size()
               ? &list[static_cast<std::size_t>(number)]
               : nullptr;
}

void apply_info() {
    input_count = read_count(field("inputs"), max_inputs);
    output_count = read_count(field("outputs"), max_outputs);
    split_levels = field("output routing controls") == "video,audio";
    router_outputs.resize(static_cast<std::size_t>(output_count));
    input_names.resize(static_cast<std::size_t>(input_count));
}

void apply_inputs() {
    std::string_view rest;
    for (const auto& [key, value] : incoming_report.fields) {
        std::string* name = addressed(key, 'i', input_names, &rest);
        if (name != nullptr && rest == ".name")
            *name = value;
    }
}

// What the backend reports is fact: no deadline is left to roll it back, whatever the level.
void apply_source(router_output& output, std::string_view level, std::int32_t source) {
    if (level == "all" || level == "audio")
        output.audio_input = source;
    if (level == "all" || level == "video")
        output.video_input = source;
    output.confirm_deadline = 0;
}

void apply_outputs() {
    constexpr std::string_view input_key = ".input.";
    std::string_view rest;
    for (const auto& [key, value] : incoming_report.fields) {
        router_output* output = addressed(key, 'o', router_outputs, &rest);
        if (output == nullptr)
            continue;
        if (rest == ".name")
            output->name = value;
        else if (rest.starts_with(input_key))
            apply_source(*output, rest.substr(input_key.size()), read_source(value));
    }
}

} // namespace

void handle_backend_report() {
    if (incoming_report.type != "message")
        return;
    if (incoming_report.command == "info")
        apply_info();
    else if (incoming_report.command == "inputs")
        apply_inputs();
    else if (incoming_report.command == "outputs")
        apply_outputs();
    router_changed();
}

void take_backend_report_line(std::string_view line) {
    if (!line.empty()) {
        parse_router_message_line(incoming_report, line);
        return;
    }
    if (!router_message_empty(incoming_report))
        handle_backend_report();
    clear_router_message(incoming_report);
}
