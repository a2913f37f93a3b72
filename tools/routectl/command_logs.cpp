#include "commands.h"
#include "display_text.h"
#include "log_reader.h"
#include "program_end.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int look_period_ms = 200;
constexpr int usual_lines = 20;

int lines_of(const invocation& call) {
    return call.lines < 0 ? usual_lines : call.lines;
}

// A terminal gets no control characters: the trace holds names as routers and clients gave them.
void print_lines(const std::string& text) {
    if (isatty(STDOUT_FILENO) != 1) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return;
    }
    std::string_view rest = text;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        std::puts(printable(rest.substr(0, end)).c_str());
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
}

// Goes on until the output cannot be written or a signal ends the process.
int follow(log_reader* reader) {
    end_on_signals();
    while (std::fflush(stdout) == 0) {
        poll(nullptr, 0, look_period_ms);
        print_lines(read_log_further(reader));
    }
    return exit_refused; // the output cannot be written; main() says so
}

int show_file(const invocation& call, log_reader* reader, const std::string& last_lines) {
    print_lines(last_lines);
    if (call.follow)
        return follow(reader);
    print_lines(rest_of_log(reader));
    close_log(reader);
    return exit_done;
}

// Returns only when there is no such program.
int show_journal(const invocation& call) {
    const std::string unit = "vrdx-routedriver@" + call.place.name;
    const std::string lines = std::to_string(lines_of(call));
    const char* const arguments[] = {
        "journalctl", "--no-pager", "-u", unit.c_str(), "-n", lines.c_str(), call.follow ? "-f" : nullptr,
        nullptr};
    std::fflush(stdout);
    execvp(arguments[0], const_cast<char* const*>(arguments));
    return failed(exit_refused, std::string("cannot run journalctl: ") + std::strerror(errno) +
                                    "; and there is no log file " + call.place.log);
}

} // namespace

int run_logs(const invocation& call) {
    if (call.json)
        return failed(exit_usage, "logs shows the trace as it is: there is no JSON of it");
    if (call.place.log.empty())
        return failed(exit_usage, "logs needs the item: a socket does not tell where the trace is");
    log_reader reader;
    reader.path = call.place.log;
    std::string last_lines;
    if (open_log(&reader, lines_of(call), &last_lines) == 0)
        return show_file(call, &reader, last_lines);
    // A service writes no log file unless told, and its directory is not open to everybody.
    if (!call.place.name.empty() && (errno == ENOENT || errno == EACCES))
        return show_journal(call);
    if (errno != ENOENT)
        return failed(exit_refused, "cannot read " + reader.path + ": " + std::strerror(errno));
    return failed(exit_refused, "there is no log file " + reader.path + advice_on(call.place) +
                                    ": a driver writes one with --stderr-to-log, else its trace goes to its "
                                    "standard error");
}
