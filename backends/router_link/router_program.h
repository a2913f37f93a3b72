// A backend program with a router behind a link, as far as it is the same for every protocol: it follows the
// link, hands over what the router says, and carries out what the protocol wants.
#pragma once

#include "backend_loop.h"
#include "driver_side.h"

// What the protocol wants done with the link; emptied when it is done.
struct router_side {
    std::string to_router;      // bytes to be written
    std::string failure;        // not empty: the connection is of no use any more, and why
    bool is_sound = false;      // the router speaks the protocol: the link is worth its name
    bool awaits_answer = false; // what comes next is waited for: acknowledge it at once
};

struct router_protocol {
    driver_side& driver;
    router_side& router;
    std::function<void(std::uint64_t now)> connected;
    std::function<void()> lost; // also after a failure of the protocol's own
    std::function<void(std::string_view bytes, std::uint64_t now)> hear_router;
    std::function<void(std::uint64_t now)> run_due;
    std::function<std::uint64_t(std::uint64_t now)>
        next_due; // the largest number: not before something comes
    std::function<void(const TavrixAPIRouterMessage& message, std::uint64_t now)> hear_driver;
};

// Reads the item file; a file that cannot be read is logged as an error.
std::map<std::string, std::string> read_item(const std::string& path, log_lines& log);

// Runs until the driver is gone.
void run_router_program(router_link& link, const router_protocol& protocol);

// For a simulated router: sends the reports and prints the log of `driver`.
void serve_driver(driver_side& driver);
