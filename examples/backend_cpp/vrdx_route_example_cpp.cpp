// A complete backend program: a router of 8 x 8 that lives in memory. To make it yours, let take() switch
// your router, and let the loop in main() also wait for what the router says of its own accord.
#include <vrdx/endpoint.h>

#include <csignal>
#include <cstdio>
#include <poll.h>

namespace {
using texts = std::map<std::string, std::string>; // by number: "0" to "7", inputs and outputs alike
std::map<std::string, texts> names;               // of "inputs" and "outputs"
texts sources, collected; // by output: an input's number or "none"; the collected ones wait for their flush

void report(const std::string& command, const texts& fields) {
    endpoint_send_message({command, "", "message", "", fields}); // main() notices when the driver is gone
}

void report_all(const std::string& what) {
    texts fields;
    for (const auto& [number, name] : names[what])
        fields[what.substr(0, 1) + number + ".name"] = name; // "i0.name" or "o0.name"
    if (what == "outputs")
        for (const auto& [output, source] : sources)
            fields["o" + output + ".input.all"] = source;
    report(what, fields);
}

void take() {
    texts confirmation;
    for (const auto& [output, source] : collected)
        confirmation["o" + output + ".input.all"] = sources[output] = source;
    collected.clear();
    report("outputs", confirmation);
}

void rename(const std::string& what, const std::string& before, texts& fields) {
    for (auto& [number, name] : names[what])
        name = fields.try_emplace(std::string(before).append(number) + ".name", name).first->second;
    report_all(what);
}

void handle(const std::string& command, texts fields) {
    const std::string output = fields["to output"], source = fields["from input"];
    if (command == "report" && names.count(fields["what"])) {
        report_all(fields["what"]);
    } else if (command == "route output" && fields["queue"] == "flush") {
        take();
    } else if (command == "route output" && sources.count(output) &&
               (sources.count(source) || source == "none")) {
        collected[output] = source;
    } else if (command == "router set") {
        rename("inputs", "input.", fields);
        rename("outputs", "output.", fields);
    } else if (command != "set") {
        std::fputs("<WARN>skipped a message that this router cannot follow\n", stderr);
    }
}
} // namespace

int main(int argc, char** argv) {
    texts item; // read for settings of your own, such as the router's address
    if (endpoint_init() != 0 || argc != 3 || read_name_value_file(item, argv[2]) != 0)
        return std::fputs("<ERR>to be started by the driver, with --file ITEM\n", stderr), 1;
    std::signal(SIGPIPE, SIG_IGN);
    for (int n = 0; n < 8; ++n) {
        names["inputs"][std::to_string(n)] = "Input " + std::to_string(n + 1);
        names["outputs"][std::to_string(n)] = "Output " + std::to_string(n + 1);
        sources[std::to_string(n)] = "none";
    }
    report("info", {{"inputs", "8"}, {"outputs", "8"}});
    report_all("inputs");
    report_all("outputs");
    while (endpoint_service() == 0) { // until our input ends
        if (const TavrixAPIRouterMessage* message = endpoint_poll_message())
            handle(message->command, message->fields);
        pollfd waits[] = {{0, POLLIN, 0}, {endpoint_output_pending() ? 1 : -1, POLLOUT, 0}};
        poll(waits, 2, -1);
    }
}
