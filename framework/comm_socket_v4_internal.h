// The server's insides, shared by its sources: comm_socket_v4_server.cpp (socket, events, accepting),
// comm_socket_v4_clients.cpp (bytes in and out) and comm_socket_v4_commands.cpp (what a packet does).
#pragma once

#include "comm_socket_v4.h"

#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct comm_socket_v4_client {
    int fd = -1;
    std::size_t place = 0; // index in comm_socket_v4::clients
    std::string peer;      // "user NAME, group NAME, pid N", for the trace
    std::string input;     // received; [handled, end) is not handled yet
    std::size_t handled = 0;
    std::string output; // replies; [sent, end) is not written yet
    std::size_t sent = 0;
    std::uint64_t incomplete_deadline = 0; // by when the packet begun in `input` must be whole; 0: none begun
    std::uint64_t unread_deadline = 0;     // by when it must have taken some of its replies; 0: none wait
    int unread_in_kernel = 0;              // what its socket held when that clock began, as the kernel counts
    std::uint32_t interest = 0;            // epoll events asked for
    bool queued = false;                   // stands in comm_socket_v4::ready
    bool input_ended = false;              // the peer will send no more
    bool deaf = false;    // the peer reads no more: replies are dropped, its requests still count
    bool closing = false; // to be freed at the end of the turn, when nobody refers to it any more
};

struct comm_socket_v4 {
    std::string path;
    dev_t path_device = 0; // the socket's identity on disk, so that only our own is ever removed
    ino_t path_inode = 0;
    int listen_fd = -1;
    int epoll_fd = -1;
    std::vector<std::unique_ptr<comm_socket_v4_client>> clients;
    std::deque<comm_socket_v4_client*> ready; // clients with something to read, handle or write
    bool accept_ready = false;                // connections wait to be accepted
    std::uint64_t accept_resume = 0;          // monotonic_us at which accepting goes on; 0: not paused
    bool accept_trouble_told = false;         // said once per trouble, not per try
    bool events_fresh = false;                // a wait has just looked: the next turn need not ask again
    std::size_t most_clients = 0;             // connected at once, as far as descriptors last
    std::uint64_t limits_check = std::numeric_limits<std::uint64_t>::max(); // next look at time limits
    comm_socket_v4_packet request;                                          // reused for every packet
    comm_socket_v4_packet response;
};

// Answers the packet in server->request; server->response then holds a whole reply.
void comm_socket_v4_answer(comm_socket_v4* server, comm_socket_v4_client* client);

// Writes a whole "error" reply with one argument that says what is wrong, result 1.
void comm_socket_v4_write_error(comm_socket_v4_packet* response, const std::string& what);

// Puts `client` into the ready list unless it stands there.
void comm_socket_v4_queue_client(comm_socket_v4* server, comm_socket_v4_client* client);

// Serves each ready client its share; the amount of work done.
int comm_socket_v4_serve_clients(comm_socket_v4* server);

// Asks epoll for what `client` can use now.
void comm_socket_v4_update_interest(comm_socket_v4* server, comm_socket_v4_client* client);

// Writes what the client takes; a vanished reader makes it deaf.
void comm_socket_v4_flush_client(comm_socket_v4_client* client);

// Disconnects and frees `client` at once.
void comm_socket_v4_drop_client(comm_socket_v4* server, comm_socket_v4_client* client);
