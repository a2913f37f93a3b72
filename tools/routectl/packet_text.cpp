#include "packet_text.h"

#include "display_text.h"

namespace {

std::string item_text(const comm_socket_v4_packet& packet, const comm_socket_v4_packet_item& item) {
    const std::string value = in_quotes(comm_socket_v4_packet_item_value(&packet, item));
    switch (item.kind) {
    case comm_packet_item_kind::command:
        return "command " + value;
    case comm_packet_item_kind::argument:
        return "argument " + value;
    case comm_packet_item_kind::end_of_arguments:
        return "end of arguments";
    case comm_packet_item_kind::name_value:
        break;
    }
    return "entry " + in_quotes(comm_socket_v4_packet_item_name(&packet, item)) + " = " + value;
}

} // namespace

std::string packet_text(const comm_socket_v4_packet& packet) {
    std::string text = "result " + std::to_string(packet.result) + "\n";
    for (const auto& item : packet.items)
        text += item_text(packet, item) + "\n";
    return text;
}
