// One connection to a driver, for programs with a loop: nothing here ever waits.
//
// Requests get numbers when they are queued, from 1. Replies come in the order of the requests, the answer to
// a take comes when the take is decided, and pushed packets come at any time; `incoming_packet` says which it
// is.
#pragma once

#include "comm_socket_v4_packet.h"

#include <cstdint>
#include <deque>
#include <string>

namespace vrdx {

enum class outcome {
    done,
    gone,     // the driver closed the connection, or there was none
    late,     // the deadline passed first
    rejected, // the request cannot be sent, or the other side does not answer as a driver does
    refused,  // the driver answered `error`
};

enum class packet_kind {
    reply,       // to the oldest request that is no take
    take_answer, // to a take, perhaps later than replies to later requests
    pushed, // sent by the driver without a request: `change`, `takes`, `alive`, and what newer drivers may
            // add
};

struct incoming_packet {
    packet_kind kind = packet_kind::pushed;
    std::uint64_t request = 0; // number of the request that it answers; 0 for none
    comm_socket_v4_packet packet;
};

struct awaited_request {
    std::uint64_t number;
    std::string command;
    std::string id; // of a take; else empty
};

struct driver_connection {
    int fd = -1; // -1 while not connected
    std::string path;
    std::string outgoing; // requests, of which `sent` bytes are written
    std::size_t sent = 0;
    std::string received; // what came, of which `consumed` bytes are handed out
    std::size_t consumed = 0;
    std::deque<awaited_request> awaited; // not answered, in order
    std::deque<incoming_packet> kept; // came while a reply was waited for; next_packet() gives them out first
    std::size_t kept_bytes = 0;
    std::uint64_t newest_request = 0; // number of the request queued last
    bool hears_nothing = false;       // the driver reads no more; its last packets may still come
    std::string problem;              // why there is no connection, or why the last request failed: one line
    int error = 0;                    // errno of the last attempt to connect, 0 when it worked
    outcome end = outcome::gone;      // while not connected: gone, or rejected for what was no packet
};

// Connects to the socket at `path` (of any length) without waiting; a connection there was is closed. 0, or
// -1 with `problem` and `error` set: EAGAIN says that too many clients already wait for the driver, so try
// again a moment later.
int open_connection(driver_connection* connection, const std::string& path);

// Closes the connection and forgets what was not sent or not read yet. `problem` stays.
void close_connection(driver_connection* connection);

// Queues the finished `request`; move_bytes() sends it. Returns its number, or 0 with `problem` set: not
// connected, too large or unfinished, too much waits already, or a take whose id still awaits its answer.
std::uint64_t queue_request(driver_connection* connection, const comm_socket_v4_packet& request);

// What to wait for with poll() or the like, level-triggered: POLLIN, POLLOUT, both, or 0 while whole packets
// have to be read with next_packet() first.
short poll_events(const driver_connection& connection);

// Writes what the socket accepts and reads what there is, at most read_bytes_per_turn. False when the
// connection has ended: fd is -1 then, `end` and `problem` say why, and next_packet() still gives out what
// came before.
bool move_bytes(driver_connection* connection);

// The next complete packet; false when there is none. Bytes that are no packet end the connection: fd is -1.
bool next_packet(driver_connection* connection, incoming_packet* packet);

// For a caller that waits for one packet among others. next_fresh_packet() returns the next packet that is
// not kept yet; keep_packet() keeps one for next_packet(), or returns false and ends the connection, when
// more than kept_bytes_limit would be kept.
bool next_fresh_packet(driver_connection* connection, incoming_packet* packet);
bool keep_packet(driver_connection* connection, incoming_packet packet);

// A request that is only a command.
comm_socket_v4_packet simple_request(const char* command);

// True for the reply `error`; error_text is what the driver says about it, perhaps "".
bool is_error(const comm_socket_v4_packet& reply);
std::string error_text(const comm_socket_v4_packet& reply);

} // namespace vrdx
