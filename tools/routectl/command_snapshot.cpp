#include "client_failure.h"
#include "commands.h"
#include "driver_link.h"
#include "exit_code.h"
#include "json_output.h"
#include "restore_takes.h"
#include "snapshot.h"
#include "snapshot_file.h"
#include "take_request.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

std::string outputs_text(int count) {
    return std::to_string(count) + (count == 1 ? " output" : " outputs");
}

void tell_saved(const invocation& call, const snapshot& one, bool maybe_more) {
    const std::string& path = call.words.front();
    if (call.json) {
        const json_object object = {{"file", path}, {"inputs", one.inputs}, {"outputs", one.outputs}};
        std::puts(json_line(object).c_str());
    } else {
        std::printf("%s saved to %s\n", outputs_text(one.outputs).c_str(), path.c_str());
    }
    if (maybe_more)
        failed(exit_done, "the driver's status shows no more than " + outputs_text(one.outputs) +
                              ": any others are not in the snapshot");
}

} // namespace

int run_save(const invocation& call) {
    driver_link link = link_of(call);
    router_status status;
    const int result = ask_status(&link, &status);
    if (result != exit_done)
        return result;
    const snapshot one = snapshot_of(status);
    const std::string& path = call.words.front();
    if (replace_file(path, snapshot_text(one)) < 0)
        return failed(exit_usage, "cannot write " + path + ": " + std::strerror(errno));
    tell_saved(call, one, may_show_fewer_outputs(status));
    return exit_done;
}

int run_restore(const invocation& call) {
    const std::string& path = call.words.front();
    std::string text;
    if (read_whole_file(path, &text) < 0)
        return failed(exit_usage, "cannot read " + path + ": " + std::strerror(errno));
    std::string error;
    const auto one = parse_snapshot(text, &error);
    if (!one)
        return failed(exit_usage, "cannot use " + path + ": " + error);

    driver_link link = link_of(call);
    router_status status;
    int result = ask_status(&link, &status);
    if (result != exit_done)
        return result;
    error = misfit(*one, status);
    if (!error.empty())
        return failed(exit_refused, error);

    std::vector<take_result> results;
    const int taken = restore_takes(&link, *one, &results);
    if (taken != exit_done)
        failed(taken, link.problem);
    result = results.empty() ? taken : tell_results(call, results);
    if (taken != exit_done)
        return taken;
    if (result == exit_done && !call.json)
        std::printf("%s restored\n", outputs_text(one->outputs).c_str());
    return result;
}
