#include "shown_status.h"

#include "plain_text.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr int largest_count = 65536; // what a reply may claim before it is not believed

// The index of the element that an entry such as "input.name 3" speaks of, if its name begins with `prefix`
// and the element is one of `count`; -1 for any other entry.
int index_of_entry(std::string_view name, std::string_view prefix, std::size_t count) {
    if (!name.starts_with(prefix))
        return -1;
    const int number = number_of_digits(name.substr(prefix.size())).value_or(-1);
    return number >= 1 && static_cast<std::size_t>(number) <= count ? number - 1 : -1;
}

crosspoint crosspoint_in(std::string_view text) {
    const auto comma = text.find(',');
    if (comma == std::string_view::npos)
        return {};
    return {number_of_digits(text.substr(0, comma)).value_or(0),
            number_of_digits(text.substr(comma + 1)).value_or(0)};
}

std::size_t count_in(const comm_socket_v4_packet& reply, std::string_view name) {
    for (const std::uint32_t index : reply.entries) {
        const auto& entry = reply.items[index];
        if (comm_socket_v4_packet_item_name(&reply, entry) == name)
            return static_cast<std::size_t>(
                std::clamp(number_of_digits(comm_socket_v4_packet_item_value(&reply, entry)).value_or(-1), 0,
                           largest_count));
    }
    return 0;
}

void apply_entry(router_status* status, std::string_view name, std::string_view value) {
    int index = index_of_entry(name, "input.name ", status->inputs.size());
    if (index >= 0)
        status->inputs[static_cast<std::size_t>(index)] = value;
    index = index_of_entry(name, "output.name ", status->outputs.size());
    if (index >= 0)
        status->outputs[static_cast<std::size_t>(index)].name = value;
    index = index_of_entry(name, "output ", status->outputs.size());
    if (index >= 0)
        status->outputs[static_cast<std::size_t>(index)].source = crosspoint_in(value);
}

} // namespace

bool is_no_router(const comm_socket_v4_packet& reply) {
    const char* first = comm_socket_v4_packet_get_argv(&reply, 0);
    return std::string_view(comm_socket_v4_packet_get_command(&reply)) == "status" && first != nullptr &&
           std::string_view(first) == "no router";
}

std::optional<router_status> decode_status(const comm_socket_v4_packet& reply) {
    if (std::string_view(comm_socket_v4_packet_get_command(&reply)) != "status" || is_no_router(reply))
        return std::nullopt;
    router_status status;
    status.inputs.resize(count_in(reply, "in points"));
    status.outputs.resize(count_in(reply, "out points"));
    for (const std::uint32_t index : reply.entries) {
        const auto& entry = reply.items[index];
        apply_entry(&status, comm_socket_v4_packet_item_name(&reply, entry),
                    comm_socket_v4_packet_item_value(&reply, entry));
    }
    return status;
}
