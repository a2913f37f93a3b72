#include "commands.h"
#include "driver_link.h"
#include "driver_report.h"
#include "json_output.h"
#include "name_value.h"
#include "packet_text.h"
#include "program_end.h"

#include <cstdio>

namespace {

using entry_parser = std::optional<name_value> (*)(std::string_view text, std::string* error);

// Writes NAME=VALUE texts as entries and completes the packet. exit_done, or exit_usage after telling of a
// text that is no entry.
int write_entries(comm_socket_v4_packet* request, const std::vector<std::string>& texts, entry_parser parse) {
    for (const std::string& text : texts) {
        std::string error;
        const auto pair = parse(text, &error);
        if (!pair)
            return failed(exit_usage, error);
        comm_socket_v4_packet_write_nv_pair(request, pair->name, pair->value);
    }
    comm_socket_v4_packet_write_end(request);
    return exit_done;
}

// Sends what the driver answers with nothing but the command.
int send_order(const invocation& call, const comm_socket_v4_packet& request) {
    driver_link link = link_of(call);
    comm_socket_v4_packet reply;
    const int result = ask_for_success(&link, request, &reply);
    if (result == exit_done && call.json)
        std::puts(json_line(json_of_packet(reply)).c_str());
    return result;
}

int send_entries(const invocation& call, const char* command, entry_parser parse) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, command, nullptr);
    comm_socket_v4_packet_write_argv_end(&request);
    const int result = write_entries(&request, call.words, parse);
    return result == exit_done ? send_order(call, request) : result;
}

// The driver answers `status` so when it knows no router.
bool is_no_router(const comm_socket_v4_packet& reply) {
    const char* first = comm_socket_v4_packet_get_argv(&reply, 0);
    return std::string_view(comm_socket_v4_packet_get_command(&reply)) == "status" && first != nullptr &&
           std::string_view(first) == "no router";
}

} // namespace

int run_router_set(const invocation& call) {
    return send_entries(call, "router set", parse_router_property);
}

int run_set(const invocation& call) {
    return send_entries(call, "set", parse_name_value);
}

int run_ping(const invocation& call) {
    const int result = send_order(call, simple_request("ping"));
    if (result == exit_done && !call.json)
        std::puts("the driver answers");
    return result;
}

int run_exit(const invocation& call) {
    return send_order(call, simple_request("exit"));
}

int run_report(const invocation& call) {
    driver_link link = link_of(call);
    comm_socket_v4_packet reply;
    const int result = ask_for_success(&link, simple_request("report"), &reply);
    if (result != exit_done)
        return result;
    const driver_report report = decode_report(reply);
    const std::string text = call.json ? json_line(json_of_report(report)) + "\n" : report_text(report);
    std::fputs(text.c_str(), stdout);
    return exit_done;
}

int run_send(const invocation& call) {
    comm_socket_v4_packet request;
    if (comm_socket_v4_packet_begin_writing(&request, 0, call.words.front().c_str(), nullptr) != 0)
        return failed(exit_usage, "the command to send is empty");
    for (std::size_t i = 1; i < call.words.size(); ++i)
        comm_socket_v4_packet_write_arg(&request, call.words[i]);
    comm_socket_v4_packet_write_argv_end(&request);
    int result = write_entries(&request, call.entries, parse_name_value);
    if (result != exit_done)
        return result;
    driver_link link = link_of(call);
    comm_socket_v4_packet reply;
    result = ask(&link, request, &reply);
    if (result != exit_done)
        return result;
    std::fputs(call.json ? (json_line(json_of_packet(reply)) + "\n").c_str() : packet_text(reply).c_str(),
               stdout);
    if (is_error(reply))
        return failed(exit_refused, error_text(reply));
    return is_no_router(reply) ? failed(exit_refused, "no router") : exit_done;
}
