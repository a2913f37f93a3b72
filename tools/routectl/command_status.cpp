#include "client_failure.h"
#include "commands.h"
#include "driver_link.h"
#include "exit_code.h"
#include "json_output.h"
#include "router_status.h"
#include "status_table.h"

#include <cstdio>
#include <unistd.h>

namespace {

constexpr std::size_t table_columns = 80;

void print_status(const invocation& call, const router_status& status) {
    if (call.json)
        std::puts(json_line(json_of_status(status)).c_str());
    else
        std::fputs(status_table(status, table_columns, isatty(STDOUT_FILENO) == 1).c_str(), stdout);
}

} // namespace

int run_status(const invocation& call) {
    driver_link link = link_of(call);
    comm_socket_v4_packet reply;
    const int result = ask_for_success(&link, simple_request("status"), &reply);
    if (result != exit_done)
        return result;
    if (is_no_router(reply)) {
        std::puts(call.json ? json_line(json_of_no_router()).c_str() : "no router");
        return exit_refused;
    }
    const auto status = decode_status(reply);
    if (!status)
        return failed(exit_refused, "the driver's answer is no status");
    print_status(call, *status);
    return exit_done;
}
