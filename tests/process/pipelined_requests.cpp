#include "pipelined_requests.h"

#include "comm_socket_v4_packet.h"

#include <stdexcept>
#include <sys/socket.h>

namespace {

test_reply reply_of(const comm_socket_v4_packet& packet) {
    test_reply reply{comm_socket_v4_packet_get_command(&packet), packet.result};
    for (const auto& item : packet.items) {
        const std::string value(comm_socket_v4_packet_item_value(&packet, item));
        if (item.kind == comm_packet_item_kind::argument)
            reply.arguments.push_back(value);
        else if (item.kind == comm_packet_item_kind::name_value)
            reply.entries.emplace_back(comm_socket_v4_packet_item_name(&packet, item), value);
    }
    return reply;
}

} // namespace

std::vector<test_reply> replies_in(const std::string& bytes) {
    std::vector<test_reply> replies;
    std::size_t size = 0;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        const auto* data = reinterpret_cast<const unsigned char*>(bytes.data()) + at;
        comm_socket_v4_packet packet;
        if (comm_socket_v4_packet_frame(data, bytes.size() - at, &size) != comm_packet_frame::complete ||
            !comm_socket_v4_packet_decode(&packet, data, size))
            throw std::runtime_error("no whole packet at byte " + std::to_string(at));
        replies.push_back(reply_of(packet));
    }
    return replies;
}

std::vector<test_reply> ask_at_once(const std::string& socket_path,
                                    const std::vector<std::string>& requests) {
    const test_client client(socket_path);
    std::string bytes;
    for (const std::string& request : requests)
        bytes += request;
    if (!client.send_bytes(bytes) || shutdown(client.fd(), SHUT_WR) != 0)
        throw std::runtime_error("the driver closed the connection before it was asked");
    return replies_in(client.read_until_closed());
}
