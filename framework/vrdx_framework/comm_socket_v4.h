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
#include <string_view>
#include <sys/types.h>

struct comm_socket_v4;        // the server
struct comm_socket_v4_client; // one connected client, as handlers see it

// Who a client is, as the kernel knew it when the client connected.
struct comm_socket_v4_peer {
    std::uint64_t id; // 1 and up in the order of arrival; never used again while the process runs
    uid_t user;       // -1: the kernel does not tell
    gid_t group;      // -1: the kernel does not tell
    pid_t pid;        // 0: the kernel does not tell
};

// Lives as long as the client.
const comm_socket_v4_peer& comm_socket_v4_client_peer(const comm_socket_v4_client* client);

// Creates the socket `path` and a server for it. A socket that a driver of ours has left behind is replaced;
// anything else in its place is left alone. Null on failure, after one line on standard error that says why,
// for instance because a live driver serves that path. The caller owns the server.
comm_socket_v4* comm_socket_v4_create_server(const std::string& path);

// Removes the socket `path` when it is ours and nobody serves it. True when the path is free afterwards; else
// one line on standard error says what stands there.
bool comm_socket_v4_clear_stale_path(const std::string& path);

// Makes a new event set for the server. To be called after the process was forked into the background.
void comm_socket_v4_reopen_server(comm_socket_v4* server);

// Serves clients until `deadline` (absolute, monotonic_us), and sleeps while they ask for nothing. Looks at
// the sockets at least once. Returns before the deadline only on a signal (after serving the requests that
// came in the meantime) and when vrdx_end_wait, vrdx_should_exit or DIE4 is set.
void comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline);

// One turn each, without waiting, to be called in this order. Return the amount of work done, 0 for none.
int comm_socket_v4_accept_turn(comm_socket_v4* server);  // new connections
int comm_socket_v4_clients_turn(comm_socket_v4* server); // packets, replies, limits, held clients

// --- packets that do not answer the request being handled ------------------------------------------------

// A handler that sets this in *flags has written no reply: the reply comes later. Until then the connection
// stays open, even if the client sends nothing more.
constexpr unsigned char comm_reply_comes_later = 1;

// Sends the whole packet to the client `id`, after everything that already waits for that client. False when
// the client has gone.
bool comm_socket_v4_push(comm_socket_v4* server, std::uint64_t id, std::string_view packet);
// The same for a reply that was to come later.
void comm_socket_v4_send_late_reply(comm_socket_v4* server, std::uint64_t id, std::string_view packet);
// How many bytes wait here because the client does not read them; those that the kernel holds for it do not
// count. 0 also for a client that has gone.
std::size_t comm_socket_v4_unread_by(comm_socket_v4* server, std::uint64_t id);
// Lets the kernel hold no more than about `bytes` for this client.
void comm_socket_v4_bound_send_buffer(comm_socket_v4* server, std::uint64_t id, int bytes);

std::size_t comm_socket_v4_client_count(const comm_socket_v4* server);

// Disconnects every client after one last attempt to deliver its replies.
void comm_socket_v4_close_clients(comm_socket_v4* server);

// Closes everything, removes the socket and frees the server; null allowed.
void comm_socket_v4_destroy_server(comm_socket_v4* server);

// Removes the socket's name if it is still this server's socket. Safe to call more than once.
void comm_socket_v4_remove_path(comm_socket_v4* server);
