#include "client_failure.h"
#include "commands.h"
#include "display_text.h"
#include "driver_link.h"
#include "exit_code.h"
#include "json_output.h"
#include "router_look.h"
#include "status_table.h"

#include <cstdio>
#include <unistd.h>

namespace {

constexpr std::size_t table_columns = 80;

void print_json(const invocation& call, const router_look& look, const std::vector<rollback>& rollbacks) {
    json_object object = look.router ? json_of_status(*look.router) : json_of_no_router();
    const backend_state backend = backend_state_of(look.report, call.place.item);
    if (backend != backend_state::unknown) {
        object["backend"] = backend_state_name(backend);
        object["problems"] = problems_of(look, call.place.item);
    }
    if (call.observe_us > 0)
        object["rollbacks"] = json_of_rollbacks(rollbacks);
    std::puts(json_line(object).c_str());
}

// What is wrong comes first. That there is no router is told in the table's place.
void print_text(const invocation& call, const router_look& look, const std::vector<rollback>& rollbacks) {
    std::vector<std::string> warnings;
    for (const std::string& problem : problems_of(look, call.place.item)) {
        if (problem != "no router")
            warnings.push_back(problem);
    }
    if (!warnings.empty() && !look.report.errors.empty())
        warnings.push_back("last error: " + look.report.errors.back());
    if (!rollbacks.empty())
        warnings.push_back(rollbacks_text(rollbacks, call.observe_us));
    for (const std::string& warning : warnings)
        std::printf("! %s\n", printable(warning).c_str());
    if (look.router)
        std::fputs(status_table(*look.router, table_columns, isatty(STDOUT_FILENO) == 1).c_str(), stdout);
    else
        std::puts("no router");
}

} // namespace

int run_status(const invocation& call) {
    driver_link link = link_of(call);
    router_look look;
    std::vector<rollback> rollbacks;
    int result = exit_done;
    if (call.observe_us > 0)
        result = observe_rollbacks(&link, call.observe_us, &rollbacks);
    if (result == exit_done)
        result = look_at_router(&link, &look);
    if (result != exit_done)
        return failed(result, link.problem);
    if (call.json)
        print_json(call, look, rollbacks);
    else
        print_text(call, look, rollbacks);
    return look.router ? exit_done : exit_refused;
}
