#include "asking_client.h"

#include "comm_socket_v4_packet.h"

#include <array>
#include <cerrno>
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

std::vector<test_reply> take_packets_off(std::string& bytes) {
    std::vector<test_reply> packets;
    std::size_t at = 0;
    for (std::size_t size = 0;; at += size) {
        const auto* data = reinterpret_cast<const unsigned char*>(bytes.data()) + at;
        const comm_packet_frame frame = comm_socket_v4_packet_frame(data, bytes.size() - at, &size);
        if (frame == comm_packet_frame::incomplete)
            break;
        comm_socket_v4_packet packet;
        if (frame != comm_packet_frame::complete || !comm_socket_v4_packet_decode(&packet, data, size))
            throw std::runtime_error("what the driver sent is no packet");
        packets.push_back(reply_of(packet));
    }
    bytes.erase(0, at);
    return packets;
}

void asking_client::send(const std::string& command, const std::vector<std::string>& arguments,
                         const name_values& entries) const {
    send_bytes(request_bytes(command, arguments, entries));
}

void asking_client::send_bytes(const std::string& bytes) const {
    if (!client_.send_bytes(bytes))
        throw std::runtime_error("the driver has closed the connection");
}

const test_reply& asking_client::answer(const std::string& id) {
    wait_for("the answer of take " + id, [&] { return answers_.contains(id); });
    return answers_.at(id);
}

test_reply asking_client::packet(const std::string& command) {
    auto found = others_.end();
    wait_for("a packet '" + command + "'", [&] {
        found = others_.begin();
        while (found != others_.end() && found->command != command)
            ++found;
        return found != others_.end();
    });
    test_reply packet = std::move(*found);
    others_.erase(found);
    return packet;
}

std::vector<test_reply>& asking_client::others() {
    read_what_came();
    return others_;
}

const std::map<std::string, test_reply>& asking_client::answers() {
    read_what_came();
    return answers_;
}

void asking_client::read_what_came() {
    std::array<char, 65536> piece{};
    ssize_t count = 0;
    while ((count = recv(fd(), piece.data(), piece.size(), MSG_DONTWAIT)) > 0)
        received_.append(piece.data(), static_cast<std::size_t>(count));
    cut_ = cut_ || count == 0 || (errno != EAGAIN && errno != EINTR);
    for (test_reply& packet : take_packets_off(received_)) {
        const std::string id = packet.entry("id");
        if (id == "(none)")
            others_.push_back(std::move(packet));
        else if (!answers_.emplace(id, std::move(packet)).second)
            ++twice_;
    }
}

void asking_client::wait_for(const std::string& what, const std::function<bool()>& condition) {
    wait_until(what, [&] {
        read_what_came();
        if (condition())
            return true;
        if (cut_)
            throw std::runtime_error("cut while waiting for " + what);
        return false;
    });
}
