#include "client_failure.h"
#include "commands.h"
#include "driver_link.h"
#include "exit_code.h"
#include "json_output.h"
#include "take_request.h"

#include <cstdio>

namespace {

int send_takes(const invocation& call, driver_link* link, const std::vector<take>& takes) {
    comm_socket_v4_packet reply;
    const int result = ask_for_success(link, route_request(takes), &reply);
    if (result == exit_done && call.json)
        std::puts(json_line(json_of_packet(reply)).c_str());
    return result;
}

} // namespace

int run_route(const invocation& call) {
    std::vector<take> takes;
    for (const std::string& word : call.words) {
        std::string error;
        const auto one = parse_take(word, &error);
        if (!one)
            return failed(exit_usage, error);
        takes.push_back(*one);
    }
    driver_link link = link_of(call);
    if (!call.wait)
        return send_takes(call, &link, takes);
    std::vector<take_result> results;
    const int result = take_and_check(&link, takes, &results);
    return result == exit_done ? tell_results(call, results) : failed(result, link.problem);
}
