#include "client_record.h"
#include "commands.h"
#include "driver_link.h"
#include "program_end.h"
#include "take_run.h"
#include "take_texts.h"
#include "undo_plan.h"

#include <cstdio>
#include <unistd.h>

namespace {

int ask_record(driver_link* link, std::vector<vrdx::take_record>* records) {
    const int result =
        failure_of(link, vrdx::record_until(&link->connection, 0, records, deadline_of(*link)));
    return result == exit_done ? result : failed(result, link->problem);
}

void print_undone(const invocation& call, const std::vector<take_outcome>& outcomes,
                  const router_picture& picture) {
    std::vector<planned_take> done;
    for (const take_outcome& one : outcomes)
        if (one.result.word == vrdx::take_word::confirmed)
            done.push_back(one.asked);
    if (!call.json)
        std::fputs(plan_text(done, picture).c_str(), stdout);
}

} // namespace

int run_undo(const invocation& call) {
    driver_link link = link_of(call);
    router_picture picture;
    int result = ask_router(&link, &picture);
    std::vector<vrdx::take_record> records;
    if (result == exit_done)
        result = ask_record(&link, &records);
    if (result != exit_done)
        return result;
    const undo_plan plan = plan_undo(records, geteuid(), call.by, picture);
    if (!plan.found)
        return failed(exit_refused, "nothing to undo: the driver's record holds no take of " +
                                        person_text(geteuid(), call.by) +
                                        "; it begins anew when the driver starts");
    if (plan.takes.empty() && plan.skipped.empty())
        return failed(exit_refused,
                      "nothing to undo: all outputs of your last takes show what they showed before");
    for (const std::string& reason : plan.skipped)
        failed(exit_refused, reason);
    if (plan.takes.empty())
        return exit_refused;
    if (call.dry_run) {
        print_plan(call.json, plan.takes, picture);
    } else {
        std::vector<take_outcome> outcomes;
        result = run_and_tell(&link, call, plan.takes, picture, &outcomes);
        print_undone(call, outcomes, picture);
    }
    return plan.skipped.empty() || result == exit_no_driver ? result : exit_refused;
}
