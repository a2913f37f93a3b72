// What is the same in every backend program with a router behind a link: it opens the link, gives the
// protocol what the router says, and does what the protocol wants.
#pragma once

#include "backend_loop.h"
#include "driver_side.h"

// What the protocol wants done with the link. It is emptied afterwards.
struct router_side {
    std::string to_router;      // bytes to be written
    std::string failure;        // not empty: close the connection, for this reason
    bool is_sound = false;      // the router speaks the protocol: call link_is_sound()
    bool awaits_answer = false; // an answer is awaited: acknowledge what comes next at once
};

struct router_protocol {
    driver_side& driver;
    router_side& router;
    std::function<void(std::uint64_t now)> connected;
    std::function<void()> lost; // also after the protocol has set `failure`
    std::function<void(std::string_view bytes, std::uint64_t now)> hear_router;
    std::function<void(std::uint64_t now)> run_due;
    std::function<std::uint64_t(std::uint64_t now)>
        next_due; // when run_due must be called; the largest number: only when something comes
    std::function<void(const TavrixAPIRouterMessage& message, std::uint64_t now)> hear_driver;
};

// Reads the item file; a file that cannot be read is logged as an error.
std::map<std::string, std::string> read_item(const std::string& path, log_lines& log);

// Runs until the driver is gone.
void run_router_program(router_link& link, const router_protocol& protocol);

// For a simulated router: sends the reports and prints the log of `driver`.
void serve_driver(driver_side& driver);
