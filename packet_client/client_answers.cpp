#include "client_answers.h"

#include "client_texts.h"

#include <algorithm>

namespace vrdx {

namespace {

bool is_take(const awaited_request& request) {
    return request.command == "take";
}

using awaited_at = std::deque<awaited_request>::iterator;

awaited_at find_take(driver_connection* connection, std::string_view id) {
    return std::find_if(connection->awaited.begin(), connection->awaited.end(),
                        [id](const awaited_request& each) { return is_take(each) && each.id == id; });
}

// The request that an error without an id belongs to. The errors of takes have ids, so it is the oldest other
// request; except when a driver is too old to know `take`, and says so.
awaited_at find_refused(driver_connection* connection, const comm_socket_v4_packet& packet) {
    auto& awaited = connection->awaited;
    const auto other = std::find_if_not(awaited.begin(), awaited.end(), is_take);
    if (other != awaited.end() && error_text(packet) != "unknown command 'take'")
        return other;
    const auto oldest_take = std::find_if(awaited.begin(), awaited.end(), is_take);
    return oldest_take != awaited.end() ? oldest_take : other;
}

awaited_at find_request(driver_connection* connection, const comm_socket_v4_packet& packet) {
    auto& awaited = connection->awaited;
    const std::string_view command = command_of(packet);
    if (command == "take" || (command == "error" && has_entry(packet, "id")))
        return find_take(connection, entry_value(packet, "id"));
    if (command == "error")
        return find_refused(connection, packet);
    // A reply has the command of its request. Any other packet was pushed by the driver.
    const auto other = std::find_if_not(awaited.begin(), awaited.end(), is_take);
    return other != awaited.end() && other->command == command ? other : awaited.end();
}

} // namespace

bool awaits_take(const driver_connection& connection, const awaited_request& request) {
    return is_take(request) &&
           std::any_of(connection.awaited.begin(), connection.awaited.end(),
                       [&](const awaited_request& each) { return is_take(each) && each.id == request.id; });
}

void tell_apart(driver_connection* connection, incoming_packet* incoming) {
    const auto request = find_request(connection, incoming->packet);
    incoming->request = 0;
    incoming->kind = is_error(incoming->packet) ? packet_kind::reply : packet_kind::pushed;
    if (request == connection->awaited.end())
        return;
    incoming->request = request->number;
    incoming->kind = is_take(*request) ? packet_kind::take_answer : packet_kind::reply;
    connection->awaited.erase(request);
}

comm_socket_v4_packet simple_request(const char* command) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, command, nullptr);
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

bool is_error(const comm_socket_v4_packet& reply) {
    return command_of(reply) == "error";
}

std::string error_text(const comm_socket_v4_packet& reply) {
    const char* what = comm_socket_v4_packet_get_argv(&reply, 0);
    return what == nullptr ? "" : what;
}

} // namespace vrdx
