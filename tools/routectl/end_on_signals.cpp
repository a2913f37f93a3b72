#include "end_on_signals.h"

#include "exit_code.h"

#include <csignal>
#include <unistd.h>

namespace {

// Every line has been flushed when it was printed, so there is nothing left to do.
void end_at_once(int) {
    _exit(exit_done);
}

} // namespace

void end_on_signals() {
    struct sigaction action {};
    action.sa_handler = end_at_once;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}
