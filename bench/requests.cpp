#include "requests.h"

#include "comm_socket_v4_connection.h"
#include "monotonic_us.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>

namespace {

constexpr std::uint64_t answer_patience_us = 5000000;
constexpr char hash_key[] = "status";

comm_socket_v4_packet finished_request(const char* command, const char* argument) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, command, argument);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_end(&packet);
    return packet;
}

void write_takes(comm_socket_v4_packet* packet, int first_output, int count, int input) {
    for (int output = first_output; output < first_output + count; ++output)
        comm_socket_v4_packet_write_arg(packet, std::to_string(output) + "=" + std::to_string(input));
}

status_answer read_answer(const comm_socket_v4_packet& reply) {
    status_answer answer{comm_packet_header_bytes, reply.result == 0, {}};
    for (const comm_socket_v4_packet_item& item : reply.items) {
        const bool has_text = item.kind != comm_packet_item_kind::end_of_arguments;
        answer.bytes += has_text ? 5 + item.value_length : 1;
        if (item.kind != comm_packet_item_kind::name_value)
            continue;
        answer.bytes += 4 + item.name_length;
        answer.entries.emplace_back(comm_socket_v4_packet_item_name(&reply, item),
                                    comm_socket_v4_packet_item_value(&reply, item));
    }
    return answer;
}

// False while nobody serves the socket.
bool try_status(const std::string& socket, status_answer& answer) {
    comm_socket_v4_connection connection;
    comm_socket_v4_packet reply;
    if (comm_socket_v4_connect(&connection, socket) != 0)
        return false;
    const comm_exchange outcome = comm_socket_v4_exchange(&connection, finished_request("status", nullptr),
                                                          &reply, monotonic_us() + answer_patience_us);
    comm_socket_v4_disconnect(&connection);
    if (outcome != comm_exchange::done)
        throw std::runtime_error("the driver at " + socket + " does not answer");
    answer = read_answer(reply);
    return true;
}

bool shows_outputs(const status_answer& answer, int outputs) {
    const std::string wanted = std::to_string(outputs);
    bool count_right = false;
    for (const auto& [name, value] : answer.entries) {
        count_right = count_right || (name == "out points" && value == wanted);
        if (name.starts_with("output.name") && value.empty())
            return false;
    }
    return answer.router_known && count_right;
}

std::string bulk(const std::string& text) {
    return "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
}

} // namespace

std::string status_request() {
    return finished_request("status", nullptr).bytes;
}

std::string take_request(int output, int input) {
    const std::string take = std::to_string(output) + "=" + std::to_string(input);
    return finished_request("route", take.c_str()).bytes;
}

std::string takes_request(int first_output, int count, int input) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "route", nullptr);
    write_takes(&packet, first_output, count, input);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_end(&packet);
    return packet.bytes;
}

std::string answered_takes_request(int first_output, int count, int input, const std::string& id) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "take", nullptr);
    write_takes(&packet, first_output, count, input);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "id", id);
    comm_socket_v4_packet_write_nv_pair(&packet, "within", "60000");
    comm_socket_v4_packet_write_end(&packet);
    return packet.bytes;
}

std::string watch_request() {
    return finished_request("watch", nullptr).bytes;
}

std::string describe_request(const std::string& from) {
    return finished_request("describe", from.empty() ? nullptr : from.c_str()).bytes;
}

std::string next_page(const std::string& packet) {
    constexpr std::size_t longest_entry = 64;
    const std::size_t end = packet.size() - std::min(packet.size(), longest_entry);
    const std::size_t name = packet.find("next", end);
    return name == std::string::npos ? "" : packet.substr(name + 8); // behind the value's length
}

status_answer ask_status(const std::string& socket) {
    status_answer answer{};
    if (!try_status(socket, answer))
        throw std::runtime_error("nobody serves " + socket);
    return answer;
}

void wait_for_outputs(const std::string& socket, int outputs, int milliseconds) {
    const std::uint64_t deadline = monotonic_us() + static_cast<std::uint64_t>(milliseconds) * 1000;
    status_answer answer{};
    while (!try_status(socket, answer) || !shows_outputs(answer, outputs)) {
        if (monotonic_us() > deadline)
            throw std::runtime_error("the router at " + socket + " never came up");
        const timespec moment{0, 2000000};
        nanosleep(&moment, nullptr);
    }
}

load_target status_target(const std::string& socket) {
    return {socket, status_request(), ask_status(socket).bytes};
}

std::string hash_store_command(const names_and_values& entries) {
    std::string command =
        "*" + std::to_string(2 + 2 * entries.size()) + "\r\n" + bulk("HSET") + bulk(hash_key);
    for (const auto& [name, value] : entries)
        command += bulk(name) + bulk(value);
    return command;
}

std::string hash_read_command() {
    return "*2\r\n" + bulk("HGETALL") + bulk(hash_key);
}

std::size_t hash_reply_bytes(const names_and_values& entries) {
    std::size_t bytes = ("*" + std::to_string(2 * entries.size()) + "\r\n").size();
    for (const auto& [name, value] : entries)
        bytes += bulk(name).size() + bulk(value).size();
    return bytes;
}
