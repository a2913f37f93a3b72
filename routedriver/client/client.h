// The clients' side: custom packets, and settings on their way to the backend. Towards clients inputs and
// outputs are 1-based and 0 means no source.
#pragma once

#include "comm_socket_v4.h"
#include "router.h"

#include <map>
#include <string>

struct pending_setting {
    std::string value;
    requester whose; // who changed it last
};

extern std::map<std::string, pending_setting>
    pending_settings; // changed and not yet forwarded, by name; latest value wins

// Answers the commands of this driver (commands.cpp): 1 with a complete reply in `respkt`, or with
// comm_reply_comes_later in *flags and none; 0 for another command. `client` null: the driver itself asks.
int my_vrdx_custom_packet(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, unsigned char* flags,
                          comm_socket_v4_client* client);

// True while a packet with this command and of this size must wait in the client's socket, because this
// client has too much waiting for the backend already.
bool packet_must_wait(const char* command, std::size_t bytes, const comm_socket_v4_client* client);

// To be told of every decided take. Answers the packet that asked for it when all takes of that packet are
// decided.
void answer_decided_take(const decided_take& take);

// A client's connection is closed.
void requester_left(std::uint64_t connection);

// To be called once, before clients are served: from then on the changes that watchers are told are noted.
void watch_for_watchers();

// To be called once per pass, after the backend's reports were read: tells watchers what has changed.
void serve_watchers();

// Fills `req` (all -1 before) from OUT and "A" or "A,V", 1-based; what is no number counts as 0.
void parse_route_request(route_request& req, const char* name, const char* value);

// A setting changed: applies "enable debug messages" and queues every setting for the backend. `context` is
// the client (comm_socket_v4_client) that changed it, or null.
void my_vrdx_on_set(void* context, const char* name, const std::string& value);

// Forwards all queued settings, in the order of their names, once the backend's three pipes are open.
void notify_backend_settings();
