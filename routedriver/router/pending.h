// What waits for the backend: the messages on their way to its standard input, one moved per pass, and the
// takes that clients asked for while no backend could be told.
//
// A batch is what is sent without anything between: the commands of a client's takes and their flush, or one
// other message. While fewer than turns_from_messages wait, the oldest batch is next. Beyond that the clients
// have turns, so that nobody waits for somebody else's flood: first a user is chosen, then one of that
// user's connections: each time the one for whom the fewest messages will have been sent when its next batch
// is counted in. Batches of one connection keep their order, and so do batches of different ones that concern
// the same output or input. Connections that are gone share one turn.
//
// Nothing is refused because there is too much of it: the next requests of a client that has too much waiting
// stay in its socket (requester_must_wait).
#pragma once

#include "message.h"
#include "picture.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

constexpr std::size_t backend_pipe_buffer_bytes = 1048576; // a longer message cannot be sent
constexpr std::size_t turns_from_messages = 64;
constexpr std::size_t turns_from_salvos = 8; // the same for a backend that gets each batch in one message
constexpr std::size_t longest_batch_counted = 64; // messages of a batch that count when turns are compared
constexpr std::size_t salvo_commands = 8192;      // of one message; larger batches are divided
constexpr std::uint64_t message_period_us =
    8000; // a single message is sent at once when the last one is older

// How much of one connection or user may wait here. One packet may exceed the limit; then the next packets
// stay in the client's socket. When a user has reached the limit, that holds for all packets larger than
// small_packet_bytes; when the connections of a user that are gone have reached it, for all packets of that
// user's new connections.
constexpr std::size_t waiting_takes_per_client = 4096;    // commands
constexpr std::size_t waiting_bytes_per_client = 1048576; // of other messages and of settings
constexpr std::size_t waiting_takes_per_user = 65536;
constexpr std::size_t waiting_bytes_per_user = 16777216;
constexpr std::size_t small_packet_bytes = 16384;
constexpr std::uint64_t reconnecting_costs =
    40; // at most so many messages of others are sent before those of a new connection

// Both are written by backend/. True while commands can reach a backend and its reports can reach us.
extern bool commands_reach_backend;
// True when the backend has said that it wants all takes of a batch in one message. Holds for batches made
// from then on.
extern bool backend_gets_salvos;

// --- takes that were asked for -----------------------------------------------------------------------------

// One requested take.
struct route_request {
    std::int32_t audio_input = -1; // -1: no source
    std::int32_t video_input = -1;
    std::int32_t output = -1; // never validated here: may be negative or beyond the router
};

extern const std::deque<route_request>& route_requests; // first in, first out

void queue_route_request(const route_request& request, requester whose);

// The oldest request, removed. There must be one.
route_request next_route_request(requester* whose);

// --- messages ----------------------------------------------------------------------------------------------

enum class route_level : std::uint8_t { all, audio, video };

// One command of a batch of takes.
struct route_command {
    std::int32_t input;  // -1: no source
    std::int32_t output; // as asked for
    route_level level;
};

// Traces the command's lines as sent, and adds it to the batch being collected.
void send_route_command(const route_command& command, requester whose);
// The commands of one take. `breakaway`: video, then audio; else one command for all levels, with
// the video source.
void send_take_commands(route_sources sources, std::int32_t output, bool breakaway, requester whose);
// Closes the batch with the flush, or as a salvo, and queues it. Returns the batch's number, from 1.
// `expires` (monotonic_us): until then the batch can be withdrawn, afterwards it must not be done any more;
// 0: it has no such limit.
std::uint64_t send_route_flush(std::uint64_t expires);
// Removes the commands for `output`, which exists, from a batch that expires and of which nothing was moved
// yet; any other batch stays as it is. A batch without commands is removed, with its flush.
void withdraw_route_command(std::uint64_t batch, std::int32_t output);

// Queues a copy of `message` for the backend's standard input and traces its lines on standard error.
void router_send_message(const TavrixAPIRouterMessage& message);

// What a batch concerns, so that it stays behind older batches that concern the same: an output, or one of
// these kinds of places.
constexpr std::int32_t place_beyond_outputs = max_outputs; // all outputs that no router has
constexpr std::int32_t first_input_place = max_outputs + 1;
constexpr std::int32_t first_setting_place = first_input_place + max_inputs; // by the hash of the name
constexpr std::int32_t setting_places = 1024;

// The same for a message whose content comes from a client. A message that is too long for the backend's pipe
// would block all takes behind it: it is dropped, and the trace says so.
void router_send_client_message(const TavrixAPIRouterMessage& message, requester whose, std::int32_t place);

// To be called before a client's message is queued. A single message is sent without waiting for the next
// pass; one of several waits message_period_us after the one before.
void hurry_lone_message();

// The encoded message that is moved next; it stays the same until it is moved. Null: none waits.
const std::string* pending_line();
// To be called when it was moved to the buffer of the pipe.
void pending_line_moved();
// To be called after writing: so many bytes of what was moved are still in that buffer.
void pending_lines_written(std::size_t bytes_left);
// Drops all messages. Requests of takes that no command was made of yet stay.
void drop_pending_lines();
// How many messages wait.
std::size_t pending_line_count();

// --- clients -----------------------------------------------------------------------------------------------

// To be called before a request of this client is handled, so before anything is queued for it.
void requester_asks(requester client);
// True while so much waits for the client that its next request, in a packet of so many bytes, is to stay
// where it is.
bool requester_must_wait(requester client, std::size_t packet_bytes);
// `bytes` of a client's settings wait to be forwarded, or (when negative) do so no longer.
void count_waiting_settings(requester whose, std::ptrdiff_t bytes);
// The connection is closed; what it asked for is still done, in the turn of its user's closed connections.
void requester_gone(std::uint64_t connection);
