#include "commands.h"
#include "driver_link.h"
#include "driver_report.h"
#include "exit_code.h"
#include "json_output.h"

#include <cstdio>

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
