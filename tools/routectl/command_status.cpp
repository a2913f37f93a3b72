#include "commands.h"
#include "display_text.h"
#include "driver_link.h"
#include "gateway_link.h"
#include "health.h"
#include "json_output.h"
#include "port_names.h"
#include "program_end.h"
#include "status_table.h"
#include "text_table.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace {

using vrdx::picture_output;

// The router, from its driver or through the gateway. exit_done, or the exit code with *problem.
int ask_anywhere(const invocation& call, router_picture* picture, std::string* problem) {
    if (call.gateway)
        return ask_gateway_picture(call, picture, problem);
    driver_link link = link_of(call);
    const int result = ask_picture_quietly(&link, picture);
    *problem = link.problem;
    return result;
}

// The outputs that are asked for, by their numbers. False with *error when a word means nothing here.
bool choose_outputs(const invocation& call, const router_picture& picture, std::vector<int>* outputs,
                    std::string* error) {
    outputs->resize(picture.outputs.size());
    std::iota(outputs->begin(), outputs->end(), 1);
    if (!call.outputs.empty()) {
        *outputs = find_ports(output_names_of(picture), call.outputs, error);
        if (outputs->empty())
            return false;
    }
    int input = 0;
    if (!call.input.empty()) {
        input = find_port(input_names_of(picture), call.input, error);
        if (input < 0)
            return false;
    }
    const auto is_left_out = [&](int number) {
        const picture_output& output = picture.outputs[static_cast<std::size_t>(number) - 1];
        const level_sources& sources = output.sources;
        return (!call.input.empty() && sources.audio != input && sources.video != input) ||
               (call.free && sources != level_sources{vrdx::source_none, vrdx::source_none}) ||
               (!call.name.empty() && !contains_text(output.name, call.name));
    };
    outputs->erase(std::remove_if(outputs->begin(), outputs->end(), is_left_out), outputs->end());
    return true;
}

// What is wrong comes first. That there is no router is told in the table's place.
void print_problems(const invocation& call, const router_picture& picture) {
    std::vector<std::string> warnings = problems_of(picture, call.place.item);
    warnings.erase(std::remove(warnings.begin(), warnings.end(), "no router"), warnings.end());
    const std::string error = last_error_of(picture);
    if (!error.empty() && (!warnings.empty() || !is_old_error(picture)))
        warnings.push_back("last error " + error);
    for (const std::string& warning : warnings)
        std::printf("! %s\n", printable(warning).c_str());
}

void print_json(const invocation& call, const router_picture& picture, const std::vector<int>& outputs) {
    json_object object = json_of_router(picture, outputs);
    object["problems"] = problems_of(picture, call.place.item);
    object["last error"] = call.gateway ? json_object() : json_object(last_error_of(picture));
    std::puts(json_line(object).c_str());
}

void print_text(const invocation& call, const router_picture& picture, const std::vector<int>& outputs) {
    print_problems(call, picture);
    if (!is_known(picture))
        std::puts("no router");
    else if (outputs.empty())
        std::puts("no output fits");
    else
        std::fputs(status_table(picture, outputs, columns_of_output(), output_is_terminal()).c_str(), stdout);
}

} // namespace

int run_status(const invocation& call) {
    router_picture picture;
    std::string error;
    const int result = ask_anywhere(call, &picture, &error);
    if (result != exit_done)
        return failed(result, error);
    std::vector<int> outputs;
    if (is_known(picture) && !choose_outputs(call, picture, &outputs, &error))
        return failed(exit_usage, error);
    if (call.json)
        print_json(call, picture, outputs);
    else
        print_text(call, picture, outputs);
    return is_known(picture) ? exit_done : exit_refused;
}

int run_names(const invocation& call) {
    router_picture picture;
    std::string error;
    const int result = ask_anywhere(call, &picture, &error);
    if (result != exit_done)
        return failed(result, error);
    if (!is_known(picture))
        return failed(exit_refused, "no router");
    const std::string& side = call.words.front();
    if (side != "inputs" && side != "outputs")
        return failed(exit_usage, "names of what? Of inputs or of outputs");
    const port_names ports = side == "inputs" ? input_names_of(picture) : output_names_of(picture);
    json_object names = json_object::array();
    for (const std::string_view name : ports.names) {
        names.push_back(name);
        if (!call.json)
            std::printf("%zu\t%s\n", names.size(), printable(name).c_str());
    }
    if (call.json)
        std::puts(json_line({{side, names}}).c_str());
    return exit_done;
}
