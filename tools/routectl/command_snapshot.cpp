#include "commands.h"
#include "driver_link.h"
#include "name_restore.h"
#include "program_end.h"
#include "snapshot.h"
#include "snapshot_file.h"
#include "take_run.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <numeric>

namespace {

std::string outputs_text(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " output" : " outputs");
}

void tell_saved(const invocation& call, const snapshot& one, const std::vector<int>& left_out) {
    const std::string& path = call.words.front();
    if (call.json) {
        const json_object object = {{"file", path},
                                    {"inputs", one.inputs},
                                    {"outputs", one.outputs},
                                    {"saved", one.takes.size()},
                                    {"left out", left_out}};
        std::puts(json_line(object).c_str());
    } else {
        std::printf("%s saved to %s\n", outputs_text(one.takes.size()).c_str(), path.c_str());
    }
}

// exit_done with the snapshot in *one, or the exit code after telling what is wrong.
int read_snapshot(const invocation& call, snapshot* one) {
    const std::string& path = call.words.front();
    std::string text;
    if (read_whole_file(path, &text) < 0)
        return failed(exit_refused, "cannot read " + path + ": " + std::strerror(errno));
    std::string error;
    auto parsed = parse_snapshot(text, &error);
    if (!parsed)
        return failed(exit_refused, "cannot use " + path + ": " + error);
    *one = std::move(*parsed);
    return exit_done;
}

// The takes of the snapshot, of the outputs that were asked for.
std::vector<planned_take> plan_of(const snapshot& one, const router_picture& picture,
                                  const std::vector<int>& outputs) {
    std::vector<planned_take> plan;
    for (const output_take& each : one.takes)
        if (std::binary_search(outputs.begin(), outputs.end(), each.output))
            plan.push_back({each.output, picture.outputs[static_cast<std::size_t>(each.output) - 1].sources,
                            each.sources, false});
    std::sort(plan.begin(), plan.end(),
              [](const planned_take& a, const planned_take& b) { return a.output < b.output; });
    return plan;
}

int restore(const invocation& call, driver_link* link, const snapshot& one, const router_picture& picture,
            const std::vector<planned_take>& plan) {
    std::vector<take_outcome> outcomes;
    int result = run_and_tell(link, call, plan, picture, &outcomes);
    if (result != exit_done && result != exit_refused)
        return result;
    if (call.names) {
        const int named = restore_names(link, one, picture);
        result = named == exit_done ? result : named;
    }
    if (result == exit_done && !call.json)
        std::printf("%s restored\n", outputs_text(plan.size()).c_str());
    return result;
}

} // namespace

int run_save(const invocation& call) {
    driver_link link = link_of(call);
    router_picture picture;
    int result = ask_router(&link, &picture);
    if (result != exit_done)
        return result;
    std::vector<int> all(picture.outputs.size());
    std::iota(all.begin(), all.end(), 1);
    result = settle(&link, all, &picture);
    if (result != exit_done)
        return failed(result, link.problem);
    std::vector<int> left_out;
    const snapshot one = snapshot_of(picture, call.names, &left_out);
    const std::string& path = call.words.front();
    if (one.takes.empty())
        return failed(exit_refused, "nothing is saved: no output shows a confirmed source");
    if (path == "-") {
        std::fputs(snapshot_text(one).c_str(), stdout);
    } else {
        const std::string problem = replace_file(path, snapshot_text(one));
        if (!problem.empty())
            return failed(exit_refused, "cannot write " + path + ": " + problem);
        tell_saved(call, one, left_out);
    }
    return left_out.empty()
               ? exit_done
               : failed(exit_refused, "not saved, as the router has not confirmed them: " +
                                          outputs_text(left_out.size()) + ", " + number_list(left_out));
}

int run_restore(const invocation& call) {
    snapshot one;
    int result = read_snapshot(call, &one);
    if (result != exit_done)
        return result;
    if (call.names && one.output_names.empty())
        return failed(exit_refused, "cannot use " + call.words.front() + ": it holds no names");
    driver_link link = link_of(call);
    router_picture picture;
    result = ask_router(&link, &picture);
    if (result != exit_done)
        return result;
    std::string error = misfit(one, picture);
    if (!error.empty())
        return failed(exit_refused, error);
    const std::vector<int> outputs =
        find_ports(output_names_of(picture), call.outputs.empty() ? "*" : call.outputs, &error);
    if (outputs.empty())
        return failed(exit_usage, error);
    const std::vector<planned_take> plan = plan_of(one, picture, outputs);
    if (plan.empty())
        return failed(exit_refused, "the snapshot holds none of these outputs");
    if (call.dry_run) {
        print_plan(call.json, plan, picture);
        return exit_done;
    }
    return restore(call, &link, one, picture, plan);
}
