#include "gateway/fronts/videohub/shown_hub.h"

#include "gateway/access/secret.h"
#include "gateway/http/utf8.h"
#include "text.h"
#include "videohub_model.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

constexpr const char* other_label = "None/other";
constexpr const char* model_name = "vrdx Videohub server";

// Twelve hexadecimal digits, the same after each start: panels know a device by them.
std::string unique_id_of(const videohub_settings& server) {
    const std::string hash =
        hash_of("videohub\n" + server.router + "\n" + server.outputs.text() + "\n" + server.inputs.text());
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::size_t bytes = 6;
    std::string id;
    for (std::size_t at = 0; at < bytes; ++at) {
        const auto byte = static_cast<unsigned char>(hash.at(at));
        id.push_back(digits[byte >> 4U]);
        id.push_back(digits[byte & 0xfU]);
    }
    return id;
}

// The numbers of the list up to `count`, and where each of them stands.
std::vector<int> numbers_in(const number_list& list, std::size_t count, std::vector<int>* places) {
    std::vector<int> numbers;
    places->assign(count + 1, -1);
    for (int number = 1; number <= static_cast<int>(count); ++number)
        if (list.has(number)) {
            places->at(static_cast<std::size_t>(number)) = static_cast<int>(numbers.size());
            numbers.push_back(number);
        }
    return numbers;
}

int place_in(const std::vector<int>& places, int number) {
    return number >= 1 && number < static_cast<int>(places.size()) ? places[static_cast<std::size_t>(number)]
                                                                   : -1;
}

template<typename items> const auto& numbered(const items& all, int number) {
    return all[static_cast<std::size_t>(number - 1)];
}

bool has_number(std::size_t count, int number) {
    return number >= 1 && number <= static_cast<int>(count);
}

// Several reasons may name a number.
void tidy(std::vector<int>* numbers) {
    std::sort(numbers->begin(), numbers->end());
    numbers->erase(std::unique(numbers->begin(), numbers->end()), numbers->end());
}

} // namespace

std::string hub_label(std::string_view name) {
    std::string label(text_head(name, most_videohub_label_bytes));
    const bool is_text = is_utf8(label);
    for (char& c : label) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f)
            c = ' ';
        else if (byte >= 0x80 && !is_text)
            c = '?';
    }
    return label;
}

shown_hub::shown_hub(const videohub_settings& server) : outputs_(server.outputs), inputs_(server.inputs) {
    device_.model_name = model_name;
    device_.friendly_name = hub_label(server.router);
    device_.unique_id = unique_id_of(server);
}

void shown_hub::see(const shown_router* router) {
    present_ = router != nullptr && router->state == router_state::up;
    split_levels_ = present_ && router->picture.split_levels;
    build(present_ ? router->picture : vrdx::router_picture{});
}

hub_news shown_hub::hear(const router_news& news) {
    const bool was_present = present_;
    const bool is_present = !news.gone && news.router->state == router_state::up;
    hub_news told;
    const bool same_levels = is_present && news.router->picture.split_levels == split_levels_;
    if (!is_present || !was_present || news.whole || !same_levels) {
        see(is_present ? news.router : nullptr);
        told.anew = is_present || was_present;
        return told;
    }
    const vrdx::router_picture& picture = news.router->picture;
    for (const int number : news.places.inputs)
        hear_input(picture, number, &told);
    for (const int number : news.places.outputs)
        hear_output(picture, number, &told);
    hear_takes(news, &told);
    tidy(&told.routing);
    return told;
}

void shown_hub::build(const vrdx::router_picture& picture) {
    inputs_shown_ = numbers_in(inputs_, picture.inputs.size(), &hub_inputs_);
    const std::vector<int> outputs = numbers_in(outputs_, picture.outputs.size(), &hub_outputs_);
    input_labels_.clear();
    rows_.clear();
    if (!present_)
        return;
    for (const int number : inputs_shown_)
        input_labels_.push_back(hub_label(numbered(picture.inputs, number).name));
    input_labels_.emplace_back(other_label);
    for (const int number : outputs) {
        const vrdx::picture_output& output = numbered(picture.outputs, number);
        row made;
        made.number = number;
        made.label = hub_label(output.name);
        made.waits = output.waits_ms.has_value();
        // What it showed before is not known here.
        made.source = made.waits ? other_source() : hub_source(output.sources);
        rows_.push_back(std::move(made));
    }
}

void shown_hub::hear_input(const vrdx::router_picture& picture, int number, hub_news* news) {
    const int input = place_in(hub_inputs_, number);
    if (input < 0 || !has_number(picture.inputs.size(), number))
        return;
    std::string label = hub_label(numbered(picture.inputs, number).name);
    std::string& shown = input_labels_[static_cast<std::size_t>(input)];
    if (label == shown)
        return;
    shown = std::move(label);
    news->input_labels.push_back(input);
}

void shown_hub::hear_output(const vrdx::router_picture& picture, int number, hub_news* news) {
    const int output = hub_output(number);
    if (output < 0 || !has_number(picture.outputs.size(), number))
        return;
    const vrdx::picture_output& now = numbered(picture.outputs, number);
    row& shown = row_of(output);
    std::string label = hub_label(now.name);
    if (label != shown.label) {
        shown.label = std::move(label);
        news->output_labels.push_back(output);
    }
    const bool did_wait = std::exchange(shown.waits, now.waits_ms.has_value());
    if (shown.waits)
        return;
    const int source = hub_source(now.sources);
    const bool is_told = source != shown.source || shown.owes;
    if (is_told)
        news->routing.push_back(output);
    shown.source = source;
    shown.owes = false;
    shown.was_told = did_wait && is_told;
}

// Clients hear of each take that was decided, also when it has changed nothing.
void shown_hub::hear_takes(const router_news& news, hub_news* told) {
    std::vector<int> decided;
    for (const vrdx::take_record& record : news.takes) {
        const int output = hub_output(record.output);
        if (output >= 0 && !is_told_by_change(record, &row_of(output)))
            decided.push_back(output);
    }
    if (news.takes_lost > 0)
        for (int output = 0; output < size().outputs; ++output)
            decided.push_back(output);
    for (const int output : echo(decided))
        told->routing.push_back(output);
}

// The change that a take has made is told with the change; which may be still to come, or overtaken by
// something newer.
bool shown_hub::is_told_by_change(const vrdx::take_record& record, row* shown) const {
    const bool was_told = std::exchange(shown->was_told, false);
    if (record.result.word != vrdx::take_word::confirmed || shown->waits)
        return false;
    const int wanted = hub_source(record.wanted);
    return wanted != shown->source || (was_told && hub_source(record.before) != wanted);
}

std::vector<int> shown_hub::echo(const std::vector<int>& outputs) {
    std::vector<int> now;
    for (const int output : outputs) {
        if (output >= size().outputs)
            continue; // it was another device's
        row& shown = row_of(output);
        if (shown.waits)
            shown.owes = true;
        else
            now.push_back(output);
    }
    return now;
}

videohub_device_description shown_hub::device() const {
    videohub_device_description told = device_;
    told.present = present_;
    told.size = size();
    return told;
}

const std::string& shown_hub::input_label(int input) const {
    return input_labels_.at(static_cast<std::size_t>(input));
}

const std::string& shown_hub::output_label(int output) const {
    return row_of(output).label;
}

int shown_hub::source(int output) const {
    return row_of(output).source;
}

bool shown_hub::shows_other(int output) const {
    const row& shown = row_of(output);
    return !shown.waits && shown.source == other_source();
}

int shown_hub::router_output(int output) const {
    return row_of(output).number;
}

int shown_hub::router_input(int input) const {
    return input == other_source() ? vrdx::source_none : inputs_shown_.at(static_cast<std::size_t>(input));
}

int shown_hub::hub_output(int router_output) const {
    return present_ ? place_in(hub_outputs_, router_output) : -1;
}

int shown_hub::hub_source(const vrdx::level_sources& sources) const {
    const bool video_counts = split_levels_ || sources.video != vrdx::source_unknown;
    const int router_source = video_counts ? sources.video : sources.audio;
    const int input = place_in(hub_inputs_, router_source);
    return input < 0 ? other_source() : input;
}

int shown_hub::other_source() const {
    return static_cast<int>(inputs_shown_.size());
}

shown_hub::row& shown_hub::row_of(int output) {
    return rows_.at(static_cast<std::size_t>(output));
}

const shown_hub::row& shown_hub::row_of(int output) const {
    return rows_.at(static_cast<std::size_t>(output));
}

} // namespace gateway
