#include "test_client.h"

#include "monotonic_us.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>

namespace {

constexpr int patience_ms = std::chrono::milliseconds(test_patience).count();
constexpr std::uint64_t patience_us = std::chrono::microseconds(test_patience).count();

comm_socket_v4_packet build_request(const std::string& command, const std::vector<std::string>& arguments,
                                    const name_values& entries) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, command.c_str(), nullptr);
    for (const std::string& argument : arguments)
        comm_socket_v4_packet_write_arg(&request, argument);
    comm_socket_v4_packet_write_argv_end(&request);
    for (const auto& [name, value] : entries)
        comm_socket_v4_packet_write_nv_pair(&request, name, value);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

test_reply read_reply(const comm_socket_v4_packet& packet) {
    test_reply reply{comm_socket_v4_packet_get_command(&packet), packet.result};
    for (const std::uint32_t index : packet.arguments)
        reply.arguments.emplace_back(comm_socket_v4_packet_item_value(&packet, packet.items[index]));
    for (const std::uint32_t index : packet.entries)
        reply.entries.emplace_back(comm_socket_v4_packet_item_name(&packet, packet.items[index]),
                                   comm_socket_v4_packet_item_value(&packet, packet.items[index]));
    return reply;
}

bool wait_for_event(int fd, short events) {
    pollfd wait{fd, events, 0};
    int result = 0;
    do
        result = poll(&wait, 1, patience_ms);
    while (result < 0 && errno == EINTR);
    return result > 0;
}

} // namespace

std::string test_reply::entry(std::string_view name) const {
    for (const auto& [known, value] : entries)
        if (known == name)
            return value;
    return "(none)";
}

test_client::test_client(const std::string& socket_path) {
    wait_until("the socket " + socket_path + " is served",
               [&] { return comm_socket_v4_connect(&connection_, socket_path) == 0; });
}

test_client::~test_client() {
    comm_socket_v4_disconnect(&connection_);
}

test_reply test_client::request(const std::string& command, const std::vector<std::string>& arguments,
                                const name_values& entries) {
    comm_socket_v4_packet reply;
    const comm_exchange result = comm_socket_v4_exchange(
        &connection_, build_request(command, arguments, entries), &reply, monotonic_us() + patience_us);
    if (result != comm_exchange::done)
        throw std::runtime_error("no reply to '" + command + "', result " +
                                 std::to_string(static_cast<int>(result)));
    return read_reply(reply);
}

bool test_client::send_bytes(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR && (errno != EAGAIN || !wait_for_event(fd(), POLLOUT)))
            return false;
    }
    return true;
}

std::string test_client::read_until_closed() const {
    std::string received;
    std::array<char, 65536> bytes{};
    for (;;) {
        const ssize_t count = recv(fd(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count > 0)
            received.append(bytes.data(), static_cast<std::size_t>(count));
        else if (count == 0 || errno == ECONNRESET)
            return received;
        else if (errno != EINTR && (errno != EAGAIN || !wait_for_event(fd(), POLLIN)))
            throw std::runtime_error("the driver does not close the connection");
    }
}

std::string request_bytes(const std::string& command, const std::vector<std::string>& arguments,
                          const name_values& entries) {
    return build_request(command, arguments, entries).bytes;
}

void wait_for_status(test_client& client, const std::string& name, const std::string& value) {
    wait_until("status shows " + name + " = " + value, [&] { return client.status().entry(name) == value; });
}
