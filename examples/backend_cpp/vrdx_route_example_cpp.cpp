// A complete backend program: a router of 8 x 8 that lives in memory. To make it yours, let take() switch
// your router, and let the loop in main() also wait for what the router says of its own accord.
#include <vrdx/endpoint.h>

#include <csignal>
#include <cstdio>
#include <poll.h>

namespace {
constexpr endpoint_size size = {8, 8, false};
std::map<int, std::string> input_names, output_names; // by number, from 0
std::map<int, int> sources;                           // by output

void report_inputs() {
    TavrixAPIRouterMessage report = endpoint_report("inputs");
    for (int input = 0; input < size.inputs; ++input)
        add_input(report, input, "name", input_names[input]);
    endpoint_send_message(report); // main() notices when the driver is gone
}

void report_outputs(bool routing) {
    TavrixAPIRouterMessage report = endpoint_report("outputs");
    for (int output = 0; output < size.outputs; ++output) {
        add_output(report, output, "name", output_names[output]);
        if (routing)
            add_source(report, output, endpoint_level::all, sources[output]);
    }
    endpoint_send_message(report);
}

void take(const endpoint_takes& takes) {
    TavrixAPIRouterMessage confirmation = endpoint_report("outputs");
    for (const endpoint_take& one : takes)
        if (one.output < size.outputs && one.source < size.inputs)
            add_source(confirmation, one.output, endpoint_level::all, sources[one.output] = one.source);
        else
            endpoint_send_message(refused_report(one, "there is no such output or input"));
    endpoint_send_message(confirmation);
}

void set_names(const std::vector<endpoint_property>& properties) {
    for (const endpoint_property& one : properties)
        if (one.name == "name" && one.number < (one.of_output ? size.outputs : size.inputs))
            (one.of_output ? output_names : input_names)[one.number] = one.value;
    report_inputs();
    report_outputs(false); // routing would end the waiting of a take
}
} // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string> item; // read for settings of your own, such as the router's address
    if (endpoint_init() != 0 || argc != 3 || read_name_value_file(item, argv[2]) != 0)
        return std::fputs("<ERR>to be started by the driver, with --file ITEM\n", stderr), 1;
    std::signal(SIGPIPE, SIG_IGN);
    for (int n = 0; n < 8; ++n) {
        input_names[n] = "Input " + std::to_string(n + 1);
        output_names[n] = "Output " + std::to_string(n + 1);
        sources[n] = no_source;
    }
    endpoint_handlers handlers;
    handlers.switch_takes = [](const endpoint_takes& takes, std::uint64_t) { take(takes); };
    handlers.report_inputs = report_inputs;
    handlers.report_outputs = [] { report_outputs(true); };
    handlers.set_properties = set_names;
    handlers.skipped = [](const std::string& why) { std::fprintf(stderr, "<WARN>%s\n", why.c_str()); };
    endpoint_send_message(info_report(size, false)); // true: a salvo may come in one message
    report_inputs();
    report_outputs(true);
    while (endpoint_serve(handlers) == 0) { // until our input ends
        pollfd waits[] = {{0, POLLIN, 0}, {endpoint_output_pending() ? 1 : -1, POLLOUT, 0}};
        poll(waits, 2, -1);
    }
}
