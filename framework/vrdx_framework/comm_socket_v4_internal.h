// The server's insides, shared by its sources: comm_socket_v4_server.cpp (the socket, its life),
// comm_socket_v4_wait.cpp (events, turns, the wait), comm_socket_v4_places.cpp (who gets in),
// comm_socket_v4_clients.cpp (bytes in and out), comm_socket_v4_hold.cpp (whose packets wait),
// comm_socket_v4_time_limits.cpp, comm_socket_v4_push.cpp (packets that are no reply to what has just been
// asked) and comm_socket_v4_commands.cpp (what a packet does).
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
    std::uint64_t unread_deadline = 0;     // by when it must have taken some of its replies; 0: none wait
    int unread_in_kernel = 0;              // what its socket held when that clock began, as the kernel counts
    std::uint32_t interest = 0;            // epoll events asked for
    unsigned replies_owed = 0;             // requests whose replies come later
    bool queued = false;                   // stands in comm_socket_v4::ready
    bool held = false;                     // stands in comm_socket_v4::held
    bool hung_up = false;                  // the kernel tells of its end, asked or not
    bool in_event_set = true;              // not while it is held and has hung up
    bool input_ended = false;              // the peer will send no more
    bool deaf = false;    // the peer reads no more: replies are dropped, its requests still count
    bool closing = false; // to be freed at the end of the turn, when nobody refers to it any more
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
    bool events_fresh = false;                // a wait has just looked: the next turn need not ask again
    std::size_t most_clients = 0;             // connected at once, as far as descriptors last
    std::unordered_map<uid_t, std::size_t> places_of; // connected clients of each user, none with 0
    comm_refusals all_taken;
    comm_refusals user_share_taken;
    std::uint64_t limits_check = std::numeric_limits<std::uint64_t>::max(); // next look at time limits
    comm_socket_v4_packet request;                                          // reused for every packet
    comm_socket_v4_packet response;
};

// --- events and turns

// Makes the event set, and lets go of the one before only when there is a new one. False with errno set.
bool comm_socket_v4_open_event_set(comm_socket_v4* server);
// Sets what the event set tells of new connections: `operation` is that of epoll_ctl.
void comm_socket_v4_watch_listener(comm_socket_v4* server, int operation, std::uint32_t events);

// --- places

// Accepts who waits, as many as one turn may; how many came, refused ones included.
int comm_socket_v4_accept_clients(comm_socket_v4* server);
// One client less of this user.
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

// Serves each ready client its share; the amount of work done.
int comm_socket_v4_serve_clients(comm_socket_v4* server);

// Asks epoll for what `client` can use now.
void comm_socket_v4_update_interest(comm_socket_v4* server, comm_socket_v4_client* client);

// Writes what the client takes; a vanished reader makes it deaf.
void comm_socket_v4_flush_client(comm_socket_v4_client* client);

// Writes a whole packet to the client, or keeps what it does not take at once.
void comm_socket_v4_send_bytes(comm_socket_v4_client* client, std::string_view bytes);

// Replies that wait for the client to read.
std::size_t comm_socket_v4_unsent_bytes(const comm_socket_v4_client& client);

// Serves one client its share; the amount of work done. A client that is `closing` afterwards is to be
// dropped.
int comm_socket_v4_serve_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Disconnects and frees `client` at once.
void comm_socket_v4_drop_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Marks the client as to be dropped, with a line in the trace.
void comm_socket_v4_cut_client(comm_socket_v4_client* client, const char* reason);

// --- hold

// The driver does not want the packet yet that the client sends, whether it is whole or not.
bool comm_socket_v4_must_wait(const comm_socket_v4_client& client);
// Lets the client stand among the held ones, or not.
void comm_socket_v4_hold_client(comm_socket_v4* server, comm_socket_v4_client* client);
void comm_socket_v4_forget_held(comm_socket_v4* server, comm_socket_v4_client* client);
// Puts those into the ready list whose packets the driver wants now.
void comm_socket_v4_release_held(comm_socket_v4* server);

// --- time limits

// Starts and stops the client's clocks. `incomplete`: it has begun a packet and we wait for the rest.
void comm_socket_v4_watch_time_limits(comm_socket_v4* server, comm_socket_v4_client* client, bool incomplete);
// Cuts and drops those whose time is up.
void comm_socket_v4_enforce_time_limits(comm_socket_v4* server);
