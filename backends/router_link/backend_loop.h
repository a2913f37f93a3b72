// The loop of a backend program with one router behind a link: waits for the driver and for the router.
#pragma once

#include "message.h"
#include "router_link.h"

#include <functional>

// What the backend does in the loop. `now` is monotonic microseconds. None of them may wait.
struct backend_handlers {
    // A message from the driver has arrived.
    std::function<void(const TavrixAPIRouterMessage& message, std::uint64_t now)> on_message;

    // Called once per pass, after the link was serviced: read link.received, notice when link.connections or
    // link.state has changed, do what is due, report, log.
    std::function<void(std::uint64_t now)> on_pass;

    // When on_pass must be called at the latest; the largest number: only when something happens.
    std::function<std::uint64_t()> next_due;
};

// To be called first: ignores SIGPIPE, checks that the arguments are "--file ITEM", prepares the descriptors.
// Returns the item's path; null, after printing the reason, when the program cannot go on.
const char* start_backend_program(int argc, char** argv);

// Runs until the driver is gone, then writes what the driver may still read and returns. The link's log lines
// are printed when they come. While the driver does not read, nothing is read from the router either.
void run_backend_loop(router_link& link, const backend_handlers& handlers);
