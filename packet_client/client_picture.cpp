#include "client_picture.h"

#include "client_limits.h"
#include "client_places.h"
#include "client_texts.h"
#include "plain_text.h"
#include "text.h"

#include <algorithm>

namespace vrdx {

namespace {

// The size that the last such entry tells; what there is now when there is none.
std::size_t told_size(const comm_socket_v4_packet& packet, std::string_view name, std::size_t now,
                      std::size_t most) {
    each_entry(packet, [&](std::string_view each, std::string_view value) {
        if (const auto number = number_of_digits<std::uint64_t>(value); number && each == name)
            now = static_cast<std::size_t>(std::min<std::uint64_t>(*number, most));
    });
    return now;
}

takes_count count_in(std::string_view value) {
    const std::uint64_t since_start = number_or_0(cut_word(&value, ' '));
    return {since_start, number_or_0(value)};
}

void add_message(std::vector<driver_message>* messages, std::string_view value) {
    if (messages->size() >= picture_messages_limit)
        messages->erase(messages->begin());
    const std::uint64_t time = number_or_0(cut_word(&value, ' '));
    messages->push_back({time, std::string(text_head(value, picture_text_limit))});
}

backend_state backend_state_in(std::string_view value) {
    if (value == "running")
        return backend_state::running;
    if (value == "starting")
        return backend_state::starting;
    return value == "none" ? backend_state::none : backend_state::untold;
}

link_state link_state_in(std::string_view value) {
    if (value == "up")
        return link_state::up;
    if (value == "down")
        return link_state::down;
    return value == "unknown" ? link_state::unknown : link_state::untold;
}

bool enter_state(router_picture* picture, std::string_view name, std::string_view value) {
    if (name == "levels")
        picture->split_levels = value == "video,audio";
    else if (name == "backend")
        picture->backend = backend_state_in(value);
    else if (name == "backend text")
        picture->backend_text = text_head(value, picture_text_limit);
    else if (name == "link")
        picture->link = link_state_in(value);
    else if (name == "link text")
        picture->link_text = text_head(value, picture_text_limit);
    else
        return false;
    return true;
}

void enter_count(router_picture* picture, std::string_view name, std::string_view value) {
    if (name == "takes asked")
        picture->asked = count_in(value);
    else if (name == "takes confirmed")
        picture->confirmed = count_in(value);
    else if (name == "takes refused")
        picture->refused = count_in(value);
    else if (name == "takes rolled back")
        picture->rolled_back = count_in(value);
    else if (name == "takes unknown")
        picture->unknown = count_in(value);
    else if (name == "backend starts")
        picture->backend_starts = count_in(value);
}

void enter_rest(router_picture* picture, std::string_view name, std::string_view value) {
    if (name == "clients")
        picture->clients = number_or_0(value);
    else if (name == "uptime")
        picture->uptime_ms = number_or_0(value);
    else if (name == "last take")
        picture->last_take = number_or_0(value);
    else if (name == "error")
        add_message(&picture->errors, value);
    else if (name == "note")
        add_message(&picture->notes, value);
    else
        enter_count(picture, name, value);
}

void sort_places(std::vector<int>* places) {
    std::sort(places->begin(), places->end());
    places->erase(std::unique(places->begin(), places->end()), places->end());
}

} // namespace

void enter_packet(router_picture* picture, const comm_socket_v4_packet& packet, picture_news* news) {
    const std::size_t inputs = told_size(packet, "inputs", picture->inputs.size(), picture_inputs_limit);
    const std::size_t outputs = told_size(packet, "outputs", picture->outputs.size(), picture_outputs_limit);
    news->sizes |= inputs != picture->inputs.size() || outputs != picture->outputs.size();
    resize_places(picture, inputs, outputs);
    each_entry(packet, [&](std::string_view name, std::string_view value) {
        if (enter_place(picture, name, value, news))
            return;
        if (enter_state(picture, name, value))
            news->state = true;
        else
            enter_rest(picture, name, value);
    });
    sort_places(&news->inputs);
    sort_places(&news->outputs);
}

comm_socket_v4_packet describe_request(const std::string& next) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "describe", next.empty() ? nullptr : next.c_str());
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

bool add_page(router_picture* picture, const comm_socket_v4_packet& reply, std::string* next) {
    const std::string_view epoch = entry_value(reply, "epoch");
    const auto sequence = number_of_digits<std::uint64_t>(entry_value(reply, "sequence"));
    if (command_of(reply) != "describe" || !is_epoch(epoch) || !sequence)
        return false;
    const bool first = next->empty();
    if (first)
        *picture = {};
    else
        picture->changed_between_pages |= picture->epoch != epoch || picture->sequence != *sequence;
    picture->epoch = epoch;
    picture->sequence = *sequence;
    picture_news news;
    enter_packet(picture, reply, &news);
    *next = entry_value(reply, "next");
    return true;
}

outcome describe_until(driver_connection* connection, router_picture* picture, std::uint64_t deadline) {
    std::string next;
    for (std::size_t page = 0; page < pages_limit; ++page) {
        comm_socket_v4_packet reply;
        const outcome asked = ask_until(connection, describe_request(next), &reply, deadline);
        if (asked != outcome::done)
            return asked;
        if (is_error(reply)) {
            connection->problem = error_text(reply);
            return outcome::refused;
        }
        if (!add_page(picture, reply, &next))
            break;
        if (next.empty())
            return outcome::done;
    }
    connection->problem = "the driver's answer describes no router";
    return outcome::rejected;
}

} // namespace vrdx
