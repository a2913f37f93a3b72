#include "commands.h"
#include "driver_link.h"
#include "gateway_link.h"
#include "program_end.h"
#include "take_run.h"

#include <cstdio>

namespace {

// No answer follows: the driver does what it can.
int send_only(const invocation& call, driver_link* link, const std::vector<output_take>& takes) {
    comm_socket_v4_packet reply;
    const int result = ask_for_success(link, route_request(takes), &reply);
    if (result == exit_done && call.json)
        std::puts(json_line(json_of_packet(reply)).c_str());
    return result;
}

// A driver that does not describe its router is sent numbers, unchecked.
int send_to_older_driver(const invocation& call, driver_link* link) {
    std::string error;
    const std::vector<output_take> takes = read_numbered_takes(call.words, &error);
    return takes.empty() ? failed(exit_usage, error) : send_only(call, link, takes);
}

std::vector<output_take> takes_of(const std::vector<planned_take>& plan) {
    std::vector<output_take> takes;
    takes.reserve(plan.size());
    for (const planned_take& one : plan)
        takes.push_back({one.output, one.after});
    return takes;
}

} // namespace

int run_route(const invocation& call) {
    if (call.gateway)
        return run_route_through_gateway(call);
    driver_link link = link_of(call);
    router_picture picture;
    int result = ask_picture_quietly(&link, &picture);
    if (result == exit_refused && call.no_wait && !older_driver(link.connection.problem, "describe").empty())
        return send_to_older_driver(call, &link);
    if (result == exit_refused && !older_driver(link.connection.problem, "describe").empty())
        link.problem += ", or take with --no-wait, which no answer follows";
    if (result != exit_done)
        return failed(result, link.problem);
    if (!is_known(picture))
        return failed(exit_refused, "no router");
    std::string error;
    const std::vector<wanted_take> wanted = read_take_words(call.words, picture, &error);
    if (wanted.empty())
        return failed(exit_usage, error);
    result = settle(&link, one_level_outputs(wanted), &picture);
    if (result != exit_done)
        return failed(result, link.problem);
    const std::vector<planned_take> plan = plan_takes(wanted, picture, &error);
    if (plan.empty())
        return failed(exit_usage, error);
    if (call.dry_run) {
        print_plan(call.json, plan, picture);
        return exit_done;
    }
    if (call.no_wait)
        return send_only(call, &link, takes_of(plan));
    std::vector<take_outcome> outcomes;
    return run_and_tell(&link, call, plan, picture, &outcomes);
}
