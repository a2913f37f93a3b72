#include "gateway/fronts/videohub/untold.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

int numbers_of(videohub_topic topic, const shown_hub& hub) {
    return topic == videohub_topic::input_labels ? hub.size().inputs : hub.size().outputs;
}

std::string entry_text(videohub_topic topic, int number, const shown_hub& hub, const lock_letter& lock) {
    switch (topic) {
    case videohub_topic::input_labels:
        return hub.input_label(number);
    case videohub_topic::output_labels:
        return hub.output_label(number);
    case videohub_topic::locks:
        return {lock(number)};
    case videohub_topic::routing:
        return std::to_string(hub.source(number));
    default:
        return "false"; // take modes
    }
}

} // namespace

void untold::begin(const shown_hub& hub) {
    preamble_ = true;
    anew(hub);
}

// Take modes are told to whom asks for them.
void untold::anew(const shown_hub& hub) {
    device_ = true;
    const bool present = hub.is_present();
    configuration_ = end_of_prelude_ = present;
    for (table& one : tables_)
        mark_all(&one, one.topic == videohub_topic::take_modes ? 0 : numbers_of(one.topic, hub));
}

void untold::add(videohub_topic topic, int number) {
    if (table* const one = table_of(topic))
        mark(one, number);
}

void untold::add_whole(videohub_topic topic, const shown_hub& hub) {
    if (table* const one = table_of(topic))
        mark_all(one, numbers_of(topic, hub));
    preamble_ |= topic == videohub_topic::preamble;
    device_ |= topic == videohub_topic::device;
    configuration_ |= topic == videohub_topic::configuration;
    end_of_prelude_ |= topic == videohub_topic::end_of_prelude;
}

bool untold::is_empty() const {
    return !preamble_ && !device_ && !configuration_ && !end_of_prelude_ &&
           std::all_of(tables_.begin(), tables_.end(), [](const table& one) { return one.count == 0; });
}

std::string untold::next(const shown_hub& hub, const lock_letter& lock, std::size_t most) {
    std::string text;
    if (std::exchange(preamble_, false))
        text += videohub_preamble_text();
    if (std::exchange(device_, false))
        text += videohub_device_text(hub.device());
    for (table& one : tables_) {
        if (one.count > 0 && text.size() < most)
            write_table(&one, hub, lock, most, &text);
        if (one.count > 0)
            return text; // the rest follows, in this order
    }
    if (std::exchange(configuration_, false))
        text += videohub_configuration_text();
    if (std::exchange(end_of_prelude_, false))
        text += videohub_end_of_prelude_text();
    return text;
}

untold::table* untold::table_of(videohub_topic topic) {
    const auto found =
        std::find_if(tables_.begin(), tables_.end(), [&](const table& one) { return one.topic == topic; });
    return found == tables_.end() ? nullptr : &*found;
}

void untold::mark_all(table* one, int count) {
    one->marked.assign(static_cast<std::size_t>(count), true);
    one->count = one->marked.size();
    one->first = 0;
}

void untold::mark(table* one, int number) {
    const auto at = static_cast<std::size_t>(number);
    if (number < 0)
        return;
    if (at >= one->marked.size())
        one->marked.resize(at + 1, false);
    if (one->marked[at])
        return;
    one->marked[at] = true;
    one->first = one->count == 0 ? at : std::min(one->first, at);
    ++one->count;
}

void untold::write_table(table* one, const shown_hub& hub, const lock_letter& lock, std::size_t most,
                         std::string* text) {
    const auto shown = static_cast<std::size_t>(numbers_of(one->topic, hub));
    text->append(videohub_header(one->topic)).append(":\n");
    for (; one->count > 0 && text->size() < most; ++one->first) {
        if (!one->marked[one->first])
            continue;
        one->marked[one->first] = false;
        --one->count;
        const int number = static_cast<int>(one->first);
        if (one->first < shown)
            text->append(videohub_entry_line(number, entry_text(one->topic, number, hub, lock)));
    }
    text->push_back('\n');
}

} // namespace gateway
