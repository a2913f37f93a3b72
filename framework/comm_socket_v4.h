// The server side of the client socket: accepts clients, reads their packets, answers or hands them on, and
// writes the replies, never blocking and with bounded work per call (comm_socket_v4_limits.h).
//
// It answers "ping", "exit", "report" and "set" itself (the latter two through vrdx_on_report and
// vrdx_on_set), asks on_vrdx_custom_packet about every other command, and answers "error" to what that does
// not handle.
#pragma once

#include "comm_socket_v4_packet.h"

#include <cstddef>
#include <cstdint>
#include <string>

struct comm_socket_v4;        // the server
struct comm_socket_v4_client; // one connected client, as handlers see it

// Serves the socket `path`. A stale socket of ours is replaced; anything else in its place is left alone.
// Null on failure, after one line on standard error that says why (a live driver there is one such reason).
comm_socket_v4* comm_socket_v4_create_server(const std::string& path);

// Removes the socket `path` when it is ours and nobody serves it. True when the path is free afterwards; else
// one line on standard error says what stands there.
bool comm_socket_v4_clear_stale_path(const std::string& path);

// Makes the server's event set anew, as is due after the process was forked into the background.
void comm_socket_v4_reopen_server(comm_socket_v4* server);

// Waits for client activity until `deadline` (absolute, monotonic_us) and serves it. Returns once activity
// has been served, at the deadline, or on a signal.
void comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline);

// One turn each, without waiting, in this order; the amount of work done, 0 for none.
int comm_socket_v4_accept_turn(comm_socket_v4* server);  // new connections
int comm_socket_v4_clients_turn(comm_socket_v4* server); // packets, replies, limits

std::size_t comm_socket_v4_client_count(const comm_socket_v4* server);

// Disconnects every client after one last attempt to deliver its replies.
void comm_socket_v4_close_clients(comm_socket_v4* server);

// Closes everything, removes the socket and frees the server; null allowed.
void comm_socket_v4_destroy_server(comm_socket_v4* server);

// Removes the socket's name if it is still this server's socket. Safe to call more than once.
void comm_socket_v4_remove_path(comm_socket_v4* server);
