#include "client_places.h"

#include "client_limits.h"
#include "client_texts.h"
#include "plain_text.h"
#include "text.h"

#include <algorithm>

namespace vrdx {

namespace {

std::size_t bytes_of(const std::vector<place_property>& properties) {
    std::size_t bytes = 0;
    for (const place_property& each : properties)
        bytes += each.name.size() + each.value.size();
    return bytes;
}

template<typename place> void resize(router_picture* picture, std::vector<place>* places, std::size_t size) {
    for (std::size_t i = size; i < places->size(); ++i)
        picture->property_bytes -= bytes_of((*places)[i].properties);
    places->resize(size);
}

// Makes all forgotten that was known of it, but not the memory of its list of properties.
template<typename place> void begin_place(router_picture* picture, place* one, std::string_view name) {
    picture->property_bytes -= bytes_of(one->properties);
    *one = {};
    one->told = true;
    one->name = text_head(name, picture_name_limit);
}

void enter_property(router_picture* picture, std::vector<place_property>* properties, std::string_view name,
                    std::string_view value) {
    if (name.empty() || name.size() > property_name_limit || value.size() > property_value_limit)
        return;
    const auto found = std::find_if(properties->begin(), properties->end(),
                                    [name](const place_property& each) { return each.name == name; });
    if (found == properties->end()) {
        if (properties->size() >= properties_limit ||
            picture->property_bytes + name.size() + value.size() > property_bytes_limit)
            return;
        properties->push_back({std::string(name), std::string(value)});
        picture->property_bytes += name.size() + value.size();
        return;
    }
    if (picture->property_bytes - found->value.size() + value.size() > property_bytes_limit)
        return;
    picture->property_bytes += value.size() - found->value.size(); // the sum is right though a part may wrap
    found->value = value;
}

// What is told of an output alone.
void enter_output(picture_output* output, std::string_view what, std::string_view value) {
    if (what == "sources") {
        if (const auto sources = sources_in(value))
            output->sources = *sources;
    } else if (what == "waits") {
        if (const auto waits = number_of_digits<std::uint64_t>(value))
            output->waits_ms = *waits;
    } else if (what == "taken") {
        output->taken = taker_in(value);
    }
}

void enter_detail(picture_input*, std::string_view, std::string_view) {}

void enter_detail(picture_output* output, std::string_view what, std::string_view value) {
    enter_output(output, what, value);
}

// `name` is what follows "input " or "output ": a number, and perhaps a blank and what it is about.
template<typename place>
void enter_one(router_picture* picture, std::vector<place>* places, std::string_view name,
               std::string_view value, std::vector<int>* news) {
    const bool whole = name.find(' ') == std::string_view::npos;
    const std::uint64_t number = number_or_0(cut_word(&name, ' '));
    if (number < 1 || number > places->size())
        return;
    place* one = &(*places)[static_cast<std::size_t>(number) - 1];
    if (!whole && !one->told)
        return;
    constexpr std::string_view property = "property ";
    if (whole)
        begin_place(picture, one, value);
    else if (name.starts_with(property))
        enter_property(picture, &one->properties, name.substr(property.size()), value);
    else
        enter_detail(one, name, value);
    if (news->empty() || news->back() != static_cast<int>(number))
        news->push_back(static_cast<int>(number));
}

} // namespace

void resize_places(router_picture* picture, std::size_t inputs, std::size_t outputs) {
    resize(picture, &picture->inputs, inputs);
    resize(picture, &picture->outputs, outputs);
}

bool enter_place(router_picture* picture, std::string_view name, std::string_view value, picture_news* news) {
    constexpr std::string_view input = "input ";
    constexpr std::string_view output = "output ";
    if (name.starts_with(input))
        enter_one(picture, &picture->inputs, name.substr(input.size()), value, &news->inputs);
    else if (name.starts_with(output))
        enter_one(picture, &picture->outputs, name.substr(output.size()), value, &news->outputs);
    else
        return false;
    return true;
}

bool is_epoch(std::string_view text) {
    constexpr std::size_t digits = 16;
    return text.size() == digits &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

last_taker taker_in(std::string_view text) {
    last_taker taker;
    taker.user = number_or_0(cut_word(&text, ' '));
    taker.process = number_or_0(cut_word(&text, ' '));
    taker.by = text_head(text, take_by_limit);
    return taker;
}

} // namespace vrdx
