#include "driver_link.h"

#include "client_failure.h"
#include "comm_socket_v4_limits.h"
#include "exit_code.h"
#include "monotonic_us.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>

namespace {

// How long to wait for a place in the queue of a busy driver before the next attempt.
constexpr int connect_pause_ms = 10;

std::string seconds_text(std::uint64_t microseconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%g", static_cast<double>(microseconds) / 1e6);
    return text.data();
}

int fail(driver_link* link, int exit_code, const std::string& problem) {
    link->problem = problem;
    return exit_code;
}

int fail_to_connect(driver_link* link, int error) {
    link->connect_error = error;
    return fail(link, exit_no_driver,
                "no driver at " + link->socket + ": " + std::strerror(error) + link->advice);
}

int connect_link(driver_link* link, std::uint64_t deadline) {
    link->connect_error = 0;
    while (comm_socket_v4_connect(&link->connection, link->socket) < 0) {
        if (errno != EAGAIN)
            return fail_to_connect(link, errno);
        if (monotonic_us() >= deadline)
            return fail(link, exit_no_driver,
                        "the driver accepts no connection within " + seconds_text(link->timeout_us) + " s");
        poll(nullptr, 0, connect_pause_ms);
    }
    return exit_done;
}

} // namespace

driver_link link_to(const item_place& place, std::uint64_t timeout_us) {
    return {place.socket, timeout_us, advice_on(place), {}, {}};
}

driver_link link_of(const invocation& call) {
    return link_to(call.place, call.timeout_us);
}

int ask_quietly(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply) {
    if (request.too_large)
        return fail(link, exit_usage,
                    "the request is larger than " + std::to_string(comm_max_packet_bytes) + " bytes");
    const std::uint64_t deadline = link->deadline != 0 ? link->deadline : monotonic_us() + link->timeout_us;
    if (link->connection.fd < 0) {
        const int connected = connect_link(link, deadline);
        if (connected != exit_done)
            return connected;
    }
    switch (comm_socket_v4_exchange(&link->connection, request, reply, deadline)) {
    case comm_exchange::done:
        return exit_done;
    case comm_exchange::gone:
        return fail(link, exit_no_driver, "the driver closed the connection without an answer");
    case comm_exchange::late:
        return fail(link, exit_no_driver, "no answer within " + seconds_text(link->timeout_us) + " s");
    case comm_exchange::rejected:
        break;
    }
    return fail(link, exit_no_driver, "what answers at " + link->socket + " is no driver");
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

int ask_status_quietly(driver_link* link, router_status* status) {
    comm_socket_v4_packet reply;
    const int result = ask_quietly(link, simple_request("status"), &reply);
    if (result != exit_done)
        return result;
    auto decoded = decode_status(reply);
    if (decoded) {
        *status = std::move(*decoded);
        return exit_done;
    }
    if (is_error(reply))
        return fail(link, exit_refused, error_text(reply));
    return fail(link, exit_refused, is_no_router(reply) ? "no router" : "the driver's answer is no status");
}

int ask_status(driver_link* link, router_status* status) {
    const int result = ask_status_quietly(link, status);
    return result == exit_done ? exit_done : failed(result, link->problem);
}

bool is_error(const comm_socket_v4_packet& reply) {
    return std::string_view(comm_socket_v4_packet_get_command(&reply)) == "error";
}

std::string error_text(const comm_socket_v4_packet& reply) {
    const char* what = comm_socket_v4_packet_get_argv(&reply, 0);
    return std::string("the driver answers with an error") +
           (what == nullptr ? "" : std::string(": ") + what);
}

comm_socket_v4_packet simple_request(const char* command) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, command, nullptr);
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}
