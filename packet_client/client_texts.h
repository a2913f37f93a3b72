// Numbers and lists in the texts of packets. For this library alone.
#pragma once

#include "client_picture.h"
#include "comm_socket_v4_packet.h"

#include <optional>
#include <string_view>

namespace vrdx {

// The number whose digits are the whole of `text`; 0 for any other text.
std::uint64_t number_or_0(std::string_view text);

// Removes from *text what is before the first `separator`, and the separator, and returns it; all of the text
// when there is no separator.
std::string_view cut_word(std::string_view* text, char separator);

// Reads "AUDIO,VIDEO": each is a number up to picture_inputs_limit, or `unknown`. Nothing for any other text.
std::optional<level_sources> sources_in(std::string_view text);
// "OUT=IN" or "OUT=AUDIO,VIDEO", as requests contain it.
std::string take_text(int output, const level_sources& sources);

// The value of the first entry of this name; "" when there is none.
std::string_view entry_value(const comm_socket_v4_packet& packet, std::string_view name);
bool has_entry(const comm_socket_v4_packet& packet, std::string_view name);

// Calls visit(name, value) for each entry, in wire order.
template<typename visitor> void each_entry(const comm_socket_v4_packet& packet, const visitor& visit) {
    for (const std::uint32_t index : packet.entries) {
        const auto& entry = packet.items[index];
        visit(comm_socket_v4_packet_item_name(&packet, entry),
              comm_socket_v4_packet_item_value(&packet, entry));
    }
}

inline std::string_view command_of(const comm_socket_v4_packet& packet) {
    return comm_socket_v4_packet_get_command(&packet);
}

} // namespace vrdx
