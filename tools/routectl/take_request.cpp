#include "take_request.h"

#include "client_failure.h"
#include "exit_code.h"
#include "json_output.h"
#include "monotonic_us.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>

namespace {

// The driver shows a take at once and takes it back after one second without a confirmation.
constexpr std::uint64_t confirmation_us = 1200000;

// The driver hands its backend a message at a time, about a hundred in a second, and a take may be two: the
// last of a large salvo can follow long after the first look.
constexpr std::uint64_t further_us_per_take = 40000;
constexpr std::uint64_t look_period_us = 100000;

void sleep_until(std::uint64_t deadline) {
    for (std::uint64_t now = monotonic_us(); now < deadline; now = monotonic_us())
        poll(nullptr, 0, static_cast<int>((deadline - now + 999) / 1000));
}

int send_takes(driver_link* link, const std::vector<take>& takes) {
    comm_socket_v4_packet reply;
    const int result = ask_quietly(link, route_request(takes), &reply);
    if (result != exit_done || !is_error(reply))
        return result;
    link->problem = error_text(reply);
    return exit_refused;
}

} // namespace

comm_socket_v4_packet route_request(const std::vector<take>& takes) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "route", nullptr);
    for (const take& one : takes)
        comm_socket_v4_packet_write_arg(&request, take_argument(one));
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

int take_and_check(driver_link* link, const std::vector<take>& takes, std::vector<take_result>* results) {
    int result = send_takes(link, takes);
    if (result != exit_done)
        return result;
    std::uint64_t next_look = monotonic_us() + confirmation_us;
    const std::uint64_t last_look = next_look + takes.size() * further_us_per_take;
    for (;;) {
        sleep_until(next_look);
        router_status status;
        result = ask_status_quietly(link, &status);
        if (result != exit_done)
            return result;
        *results = check_takes(takes, status);
        if (all_confirmed(*results) || next_look >= last_look)
            return exit_done;
        next_look = std::min(next_look + look_period_us, last_look);
    }
}

int tell_results(const invocation& call, const std::vector<take_result>& results) {
    if (call.json)
        std::puts(json_line(json_of_takes(results)).c_str());
    for (const take_result& one : results) {
        if (!one.problem.empty())
            failed(exit_refused, one.problem);
    }
    return all_confirmed(results) ? exit_done : exit_refused;
}
