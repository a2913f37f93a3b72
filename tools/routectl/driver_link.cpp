#include "driver_link.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "program_end.h"

#include <array>
#include <cstdio>

namespace {

std::string seconds_text(std::uint64_t microseconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%g", static_cast<double>(microseconds) / 1e6);
    return text.data();
}

int fail(driver_link* link, int exit_code, const std::string& problem) {
    link->problem = problem;
    return exit_code;
}

} // namespace

driver_link link_to(const item_place& place, std::uint64_t timeout_us) {
    return {place.socket, timeout_us, advice_on(place), {}, {}};
}

driver_link link_of(const invocation& call) {
    return link_to(call.place, call.timeout_us);
}

std::uint64_t deadline_of(const driver_link& link) {
    return link.deadline != 0 ? link.deadline : monotonic_us() + link.timeout_us;
}

int connect_quietly(driver_link* link) {
    if (link->connection.fd >= 0)
        return exit_done;
    const vrdx::outcome connected = vrdx::connect_until(&link->connection, link->socket, deadline_of(*link));
    link->connect_error = 0;
    if (connected == vrdx::outcome::done)
        return exit_done;
    if (connected == vrdx::outcome::late)
        return fail(link, exit_no_driver,
                    "the driver accepts no connection within " + seconds_text(link->timeout_us) + " s");
    link->connect_error = link->connection.error;
    return fail(link, exit_no_driver, link->connection.problem + link->advice);
}

int failure_of(driver_link* link, vrdx::outcome outcome) {
    switch (outcome) {
    case vrdx::outcome::done:
        return exit_done;
    case vrdx::outcome::late:
        return fail(link, exit_no_driver, "no answer within " + seconds_text(link->timeout_us) + " s");
    case vrdx::outcome::refused:
        return fail(link, exit_refused, "the driver answers with an error: " + link->connection.problem);
    default:
        return fail(link, exit_no_driver, link->connection.problem);
    }
}

int ask_quietly(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply) {
    if (request.too_large)
        return fail(link, exit_usage,
                    "the request is larger than " + std::to_string(comm_max_packet_bytes) + " bytes");
    const int connected = connect_quietly(link);
    if (connected != exit_done)
        return connected;
    return failure_of(link, vrdx::ask_until(&link->connection, request, reply, deadline_of(*link)));
}

int ask(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply) {
    const int result = ask_quietly(link, request, reply);
    return result == exit_done ? exit_done : failed(result, link->problem);
}

int ask_for_success(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply) {
    const int result = ask(link, request, reply);
    if (result == exit_done && is_error(*reply))
        return failed(exit_refused, error_text(*reply));
    return result;
}

std::string older_driver(const std::string& problem, const std::string& command) {
    return problem == "unknown command '" + command + "'"
               ? "this driver is older than vrdx_routectl and does not know '" + command + "': restart it"
               : std::string();
}

int ask_picture_quietly(driver_link* link, vrdx::router_picture* picture) {
    const int connected = connect_quietly(link);
    if (connected != exit_done)
        return connected;
    const int result = failure_of(link, vrdx::describe_until(&link->connection, picture, deadline_of(*link)));
    const std::string older = older_driver(link->connection.problem, "describe");
    return result == exit_refused && !older.empty() ? fail(link, result, older) : result;
}

bool is_known(const vrdx::router_picture& picture) {
    return !picture.inputs.empty() && !picture.outputs.empty();
}

int ask_router(driver_link* link, vrdx::router_picture* picture) {
    const int result = ask_picture_quietly(link, picture);
    if (result != exit_done)
        return failed(result, link->problem);
    return is_known(*picture) ? exit_done : failed(exit_refused, "no router");
}

std::string error_text(const comm_socket_v4_packet& reply) {
    const std::string what = vrdx::error_text(reply);
    return "the driver answers with an error" + (what.empty() ? "" : ": " + what);
}
