// The clients' side: custom packets, and settings on their way to the backend. Towards clients inputs and
// outputs are 1-based and 0 means no source.
#pragma once

#include "comm_socket_v4.h"
#include "router.h"

#include <map>
#include <string>

extern std::map<std::string, std::string>
    pending_settings; // changed and not yet forwarded; latest value wins

// Answers "route", "router set" and "status": 1 with a complete reply in `respkt`, 0 for another command.
int my_vrdx_custom_packet(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, unsigned char* flags,
                          comm_socket_v4_client* client);

// Fills `req` (all -1 before) from OUT and "A" or "A,V", 1-based; what is no number counts as 0.
void parse_route_request(route_request& req, const char* name, const char* value);

// A setting changed: applies "enable debug messages" and queues every setting for the backend.
void my_vrdx_on_set(void* context, const char* name, const std::string& value);

// Forwards all queued settings, in the order of their names, once the backend's three pipes are open.
void notify_backend_settings();
