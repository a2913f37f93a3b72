#include "watch_lines.h"

#include "display_text.h"
#include "health.h"
#include "port_names.h"
#include "take_texts.h"

#include <numeric>

namespace {

using vrdx::picture_output;

using line_list = std::vector<watch_line>;

std::string size_text(const router_picture& picture) {
    if (picture.inputs.empty() || picture.outputs.empty())
        return "no router";
    return std::to_string(picture.inputs.size()) + "x" + std::to_string(picture.outputs.size());
}

json_object size_object(const router_picture& picture) {
    return {{"inputs", picture.inputs.size()}, {"outputs", picture.outputs.size()}};
}

void add_state_lines(const router_picture& before, const router_picture& now, line_list* lines) {
    const auto add = [lines](const char* what, const std::string& old_word, const std::string& new_word,
                             const std::string& text) {
        lines->push_back({with_text(std::string(what) + ' ' + old_word + " -> " + new_word, printable(text)),
                          {{"change", what}, {"before", old_word}, {"after", new_word}, {"text", text}}});
    };
    if (before.backend != now.backend)
        add("backend", backend_word(before.backend), backend_word(now.backend),
            now.backend == vrdx::backend_state::running ? "" : now.backend_text);
    if (before.link != now.link)
        add("link", link_word(before.link), link_word(now.link), now.link_text);
    if (size_text(before) != size_text(now))
        lines->push_back(
            {"size " + size_text(before) + " -> " + size_text(now),
             {{"change", "size"}, {"before", size_object(before)}, {"after", size_object(now)}}});
}

void add_name_line(const char* what, int number, const std::string& before, const std::string& now,
                   line_list* lines) {
    if (before == now)
        return;
    lines->push_back(
        {std::string(what) + ' ' + std::to_string(number) + " name " + in_quotes(before) + " -> " +
             in_quotes(now),
         {{"change", std::string(what) + " name"}, {what, number}, {"before", before}, {"after", now}}});
}

// Why an output shows another source, in a word and for people.
struct cause {
    const char* word;
    std::string text;
};

cause cause_of(const picture_output& before, const picture_output& now, const level_sources& settled) {
    const auto taker = [&now] {
        return now.taken ? person_text(now.taken->user, now.taken->by) : "somebody";
    };
    if (now.waits_ms)
        return {"take", "take of " + taker() + ", not confirmed yet"};
    if (before.waits_ms && now.sources == settled)
        return {"taken back", "taken back, the router has not confirmed the take"};
    const bool taken =
        now.taken && (!before.taken || before.taken->process != now.taken->process ||
                      before.taken->user != now.taken->user || before.taken->by != now.taken->by);
    if (taken)
        return {"take", "take of " + taker()};
    return {"router", "at the router"};
}

json_object json_of_taker(const picture_output& output) {
    if (!output.taken)
        return {};
    return {{"user", output.taken->user}, {"pid", output.taken->process}, {"by", output.taken->by}};
}

void add_source_line(const router_picture& picture, int number, const picture_output& before,
                     const picture_output& now, const level_sources& settled, line_list* lines) {
    if (before.sources == now.sources)
        return;
    const cause why = cause_of(before, now, settled);
    lines->push_back({output_text(picture, number) + " source " + sources_text(picture, before.sources) +
                          " -> " + sources_text(picture, now.sources) + ", " + why.text,
                      {{"change", "source"},
                       {"output", number},
                       {"name", now.name},
                       {"before", json_of_sources(before.sources)},
                       {"after", json_of_sources(now.sources)},
                       {"cause", why.word},
                       {"confirmed", !now.waits_ms.has_value()},
                       {"taken", json_of_taker(now)}}});
}

std::vector<int> up_to(std::size_t count) {
    std::vector<int> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

template<typename place>
const place& at(const std::vector<place>& places, int number, const place& otherwise) {
    const auto index = static_cast<std::size_t>(number) - 1;
    return index < places.size() ? places[index] : otherwise;
}

void note_outputs(watched_picture* known, const std::vector<int>& outputs) {
    known->settled.resize(known->picture.outputs.size());
    for (const int number : outputs) {
        const auto index = static_cast<std::size_t>(number) - 1;
        if (!known->picture.outputs[index].waits_ms)
            known->settled[index] = known->picture.outputs[index].sources;
    }
}

// Everything, or what differs when that is known.
void enter(watched_picture* known, const router_picture& now, const std::vector<int>& inputs,
           const std::vector<int>& outputs, bool all) {
    if (all || known->picture.inputs.size() != now.inputs.size() ||
        known->picture.outputs.size() != now.outputs.size()) {
        known->picture = now;
    } else {
        for (const int number : inputs)
            known->picture.inputs[static_cast<std::size_t>(number) - 1] =
                now.inputs[static_cast<std::size_t>(number) - 1];
        for (const int number : outputs)
            known->picture.outputs[static_cast<std::size_t>(number) - 1] =
                now.outputs[static_cast<std::size_t>(number) - 1];
        known->picture.backend = now.backend;
        known->picture.link = now.link;
    }
    note_outputs(known, outputs);
}

} // namespace

std::vector<watch_line> lines_of_change(watched_picture* known, const router_picture& now,
                                        const vrdx::picture_news& news, bool all) {
    const std::vector<int> inputs = all ? up_to(now.inputs.size()) : news.inputs;
    const std::vector<int> outputs = all ? up_to(now.outputs.size()) : news.outputs;
    line_list lines;
    add_state_lines(known->picture, now, &lines);
    for (const int number : inputs)
        add_name_line("input", number, at(known->picture.inputs, number, {}).name,
                      at(now.inputs, number, {}).name, &lines);
    for (const int number : outputs) {
        const picture_output before = at(known->picture.outputs, number, {});
        const picture_output& after = now.outputs[static_cast<std::size_t>(number) - 1];
        add_name_line("output", number, before.name, after.name, &lines);
        add_source_line(now, number, before, after, at(known->settled, number, {}), &lines);
    }
    enter(known, now, inputs, outputs, all);
    return lines;
}

watch_line line_of_take(const vrdx::take_record& record, const router_picture& picture) {
    json_object object = {{"change", "take"}};
    object.update(json_of_record(record));
    return {output_text(picture, record.output) + " take of " + sources_text(picture, record.wanted) +
                " by " + person_text(record.user, record.by) + ": " + result_text(record.result, picture) +
                " (" + std::to_string(record.milliseconds) + " ms)",
            object};
}

watch_line line_of_lost_takes(std::uint64_t count) {
    return {std::to_string(count) + " takes were decided faster than they could be told: see takes",
            {{"change", "lost takes"}, {"count", count}}};
}

watch_line line_of_beginning(const router_picture& picture) {
    return {"watching " + size_text(picture) + ", backend " + backend_word(picture.backend) + ", link " +
                link_word(picture.link),
            {{"change", "begin"},
             {"size", size_object(picture)},
             {"backend", backend_word(picture.backend)},
             {"link", link_word(picture.link)}}};
}

watch_line line_of_driver(bool there) {
    return {there ? "driver back" : "driver gone",
            {{"change", "driver"}, {"before", !there}, {"after", there}}};
}
