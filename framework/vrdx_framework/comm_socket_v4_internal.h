// What the sources of the server share: comm_socket_v4_server.cpp (the socket, its life),
// comm_socket_v4_wait.cpp (events, turns, the wait), comm_socket_v4_places.cpp (who gets in),
// comm_socket_v4_clients.cpp (bytes in and out), comm_socket_v4_hold.cpp (whose packets wait),
// comm_socket_v4_time_limits.cpp, comm_socket_v4_push.cpp (packets that do not answer the request being
// handled) and comm_socket_v4_commands.cpp (what a packet does).
#pragma once

#include "comm_socket_v4.h"

#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

struct comm_socket_v4_client {
    int fd = -1;
    std::size_t place = 0; // index in comm_socket_v4::clients
    comm_socket_v4_peer peer{};
    std::string told_as; // "user N, group N, pid N", for the trace
    std::string input;   // received; [handled, end) is not handled yet
    std::size_t handled = 0;
    std::string output; // replies; [sent, end) is not written yet
    std::size_t sent = 0;
    std::uint64_t incomplete_deadline = 0; // by when the packet begun in `input` must be whole; 0: none begun
    std::uint64_t unread_deadline = 0;     // by when it must have read some of its replies; 0: none wait
    int unread_in_kernel = 0;              // bytes in its socket when that clock began, as the kernel counts
    std::uint32_t interest = 0;            // epoll events asked for
    unsigned replies_owed = 0;             // requests whose replies come later
    bool queued = false;                   // stands in comm_socket_v4::ready
    bool held = false;                     // stands in comm_socket_v4::held
    bool hung_up = false;                  // the kernel reports that its connection has ended
    bool in_event_set = true;              // not while it is held and has hung up
    bool input_ended = false;              // the peer will send no more
    bool deaf = false;    // the peer reads no more: replies are dropped, its requests are still handled
    bool closing = false; // to be freed at the end of the turn, when nothing points to it any more
};

// One reason to refuse clients, and what the trace was told of it.
struct comm_refusals {
    std::uint64_t next_line = 0; // monotonic_us: until then refusals are only counted
    std::size_t not_told = 0;
};

struct comm_socket_v4 {
    std::string path;
    dev_t path_device = 0; // the socket's identity on disk, so that only our own is ever removed
    ino_t path_inode = 0;
    int listen_fd = -1;
    int epoll_fd = -1;
    std::vector<std::unique_ptr<comm_socket_v4_client>> clients;
    std::unordered_map<std::uint64_t, comm_socket_v4_client*> clients_by_id;
    std::deque<comm_socket_v4_client*> ready; // clients with something to read, handle or write
    std::vector<comm_socket_v4_client*> held; // clients whose next packet waits, the longest waiting first
    bool accept_ready = false;                // connections wait to be accepted
    std::uint64_t accept_resume = 0;          // monotonic_us at which accepting goes on; 0: not paused
    bool accept_trouble_told = false;         // said once per trouble, not per try
    bool events_fresh = false;                // a wait has just asked epoll: the next turn need not ask again
    std::size_t most_clients = 0;             // connected at once, as far as descriptors last
    std::unordered_map<uid_t, std::size_t> places_of; // connected clients of each user, none with 0
    comm_refusals for_all_places;
    comm_refusals for_user_share;
    std::uint64_t limits_check = std::numeric_limits<std::uint64_t>::max(); // next look at time limits
    comm_socket_v4_packet request;                                          // reused for every packet
    comm_socket_v4_packet response;
};

// --- events and turns

// Makes a new event set; the old one is closed only when that has worked. False with errno set.
bool comm_socket_v4_open_event_set(comm_socket_v4* server);
// Sets which events of the listening socket the event set reports: `operation` is that of epoll_ctl.
void comm_socket_v4_watch_listener(comm_socket_v4* server, int operation, std::uint32_t events);

// --- places

// Accepts waiting connections, as many as one turn may. Returns how many there were, refused ones included.
int comm_socket_v4_accept_clients(comm_socket_v4* server);
// Frees the place of one client of this user.
void comm_socket_v4_leave_place(comm_socket_v4* server, uid_t user);

// --- packets

// Answers the packet in server->request; server->response then holds a whole reply. False when the reply
// comes later.
bool comm_socket_v4_answer(comm_socket_v4* server, comm_socket_v4_client* client);

// Writes a whole "error" reply with one argument that says what is wrong, result 1.
void comm_socket_v4_write_error(comm_socket_v4_packet* response, const std::string& what);

// --- clients

// Puts `client` into the ready list unless it stands there.
void comm_socket_v4_queue_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Gives each ready client its share of work; returns the amount of work done.
int comm_socket_v4_serve_clients(comm_socket_v4* server);

// Sets the events that epoll reports for `client` to those that matter now.
void comm_socket_v4_update_interest(comm_socket_v4* server, comm_socket_v4_client* client);

// Writes as much as the socket accepts. A client that has stopped reading becomes `deaf`.
void comm_socket_v4_flush_client(comm_socket_v4_client* client);

// Writes a whole packet to the client, and keeps what the socket does not accept at once.
void comm_socket_v4_send_bytes(comm_socket_v4_client* client, std::string_view bytes);

// Replies that wait for the client to read.
std::size_t comm_socket_v4_unsent_bytes(const comm_socket_v4_client& client);

// Gives one client its share of work; returns the amount of work done. The caller must drop a client that is
// `closing` afterwards.
int comm_socket_v4_serve_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Disconnects and frees `client` at once.
void comm_socket_v4_drop_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Marks the client as `closing`, with a line in the trace.
void comm_socket_v4_cut_client(comm_socket_v4_client* client, const char* reason);

// --- hold

// True when the driver does not want the next packet of this client yet. The packet may still be incomplete.
bool comm_socket_v4_must_wait(const comm_socket_v4_client& client);
// Adds the client to the held ones, and removes it from them.
void comm_socket_v4_hold_client(comm_socket_v4* server, comm_socket_v4_client* client);
void comm_socket_v4_forget_held(comm_socket_v4* server, comm_socket_v4_client* client);
// Puts the held clients whose packets the driver wants now into the ready list.
void comm_socket_v4_release_held(comm_socket_v4* server);

// --- time limits

// Starts and stops the client's clocks. `incomplete`: the client has sent a part of a packet.
void comm_socket_v4_watch_time_limits(comm_socket_v4* server, comm_socket_v4_client* client, bool incomplete);
// Cuts and drops every client that has used up its time.
void comm_socket_v4_enforce_time_limits(comm_socket_v4* server);
