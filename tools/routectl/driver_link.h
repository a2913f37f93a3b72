// The client's connection to the driver; failures are told to the user.
#pragma once

#include "client_asking.h"
#include "client_picture.h"
#include "invocation.h"

using vrdx::is_error;
using vrdx::simple_request;

struct driver_link {
    std::string socket;
    std::uint64_t timeout_us;
    std::string advice;                 // is added to the message when connecting fails
    vrdx::driver_connection connection; // made with the first request
    std::string problem;                // why the last request had no answer
    int connect_error = 0;              // errno of the last attempt to connect, 0 when it worked
    std::uint64_t deadline = 0;         // of all requests together (monotonic_us); 0: each has timeout_us
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

// Asks for the whole router. exit_done with *picture filled, also when no router is known yet; any failure is
// in `problem`.
int ask_picture_quietly(driver_link* link, vrdx::router_picture* picture);

// The same, with the failure told on standard error; a driver that knows no router is a failure, too.
int ask_router(driver_link* link, vrdx::router_picture* picture);

// Connects, unless there is a connection. exit_done, or the exit code with the reason in `problem`.
int connect_quietly(driver_link* link);

// When the present request has to be answered (monotonic_us).
std::uint64_t deadline_of(const driver_link& link);

// True when the driver knows its router.
bool is_known(const vrdx::router_picture& picture);

// What `outcome` of a request means for the user: the exit code, with the reason in `problem`.
int failure_of(driver_link* link, vrdx::outcome outcome);

// The message when the driver is too old to know `command`; empty when `problem` is another one.
std::string older_driver(const std::string& problem, const std::string& command);

// What the user is told of a reply for which is_error holds.
std::string error_text(const comm_socket_v4_packet& reply);
