#include "program_end.h"

#include "display_text.h"
#include "json_output.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

bool as_json = false;

// Every line was flushed when it was printed, so there is nothing left to do.
void end_at_once(int) {
    _exit(exit_done);
}

} // namespace

void tell_failures_as_json(bool wanted) {
    as_json = wanted;
}

int failed(int exit_code, const std::string& text) {
    std::fflush(stdout); // in the order in which it happened
    if (as_json)
        std::fprintf(stderr, "%s\n", json_line({{"error", text}, {"exit code", exit_code}}).c_str());
    else
        std::fprintf(stderr, "vrdx_routectl: %s\n", printable(text).c_str());
    return exit_code;
}

void end_on_signals() {
    struct sigaction action {};
    action.sa_handler = end_at_once;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}
