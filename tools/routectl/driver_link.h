// The client's connection to the driver, with the failures told to the user.
#pragma once

#include "comm_socket_v4_connection.h"
#include "invocation.h"
#include "router_status.h"

#include <optional>

struct driver_link {
    std::string socket;
    std::uint64_t timeout_us;
    std::string advice;                   // what is said behind a failed attempt to connect
    comm_socket_v4_connection connection; // made with the first request
    std::string problem;                  // why the last request had no answer
    int connect_error = 0;                // errno of the last attempt to connect, 0 when it worked
    std::uint64_t deadline = 0;           // of all requests together (monotonic_us); 0: each has timeout_us
};

driver_link link_to(const item_place& place, std::uint64_t timeout_us);
driver_link link_of(const invocation& call);

// Sends `request` and reads its reply, within the time allowed; connects first when there is no connection.
// exit_done when a reply was read, else the exit code, and the reason is in `problem`.
int ask_quietly(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply);

// The same, with the reason told on standard error.
int ask(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply);

// The same, and a reply that is an error is a failure too.
int ask_for_success(driver_link* link, const comm_socket_v4_packet& request, comm_socket_v4_packet* reply);

// Asks for the router's status. exit_done with *status filled; any failure, "no router" too, is in `problem`.
int ask_status_quietly(driver_link* link, router_status* status);

// The same, with the failure told on standard error.
int ask_status(driver_link* link, router_status* status);

// True for the reply to what the driver cannot do; error_text says what it says about it.
bool is_error(const comm_socket_v4_packet& reply);
std::string error_text(const comm_socket_v4_packet& reply);

// A request of a command alone.
comm_socket_v4_packet simple_request(const char* command);
