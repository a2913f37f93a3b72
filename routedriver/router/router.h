// The router model: the one picture of the router that this driver controls, and the planning of takes.
//
// All inputs and outputs are 0-based; -1 means none. The backend's reports write the model (backend/), the
// planner updates it optimistically, expire_assumed_routes() takes back what was never confirmed, and clients
// read it (client/). It outlives the backend: the last known picture stays until new reports replace it.
#pragma once

#include "message.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

constexpr std::int32_t max_inputs = 4096;
constexpr std::int32_t max_outputs = 1024;

struct router_output {
    std::int32_t audio_input = -1; // current sources, as shown to clients
    std::int32_t video_input = -1;
    std::int32_t saved_audio_input = -1; // sources before the last optimistic change
    std::int32_t saved_video_input = -1;
    std::uint64_t confirm_deadline = 0; // monotonic_us; 0: nothing awaits confirmation
    std::string name;
};

// One requested take.
struct route_request {
    std::int32_t audio_input = -1; // -1: no source
    std::int32_t video_input = -1;
    std::int32_t output = -1; // never validated here: may be negative or beyond the router
};

extern std::int32_t input_count;  // 0..max_inputs; written by "info" reports
extern std::int32_t output_count; // 0..max_outputs; written by "info" reports
extern bool split_levels;         // video and audio are switched separately; written by "info" reports
extern std::vector<std::string> input_names;      // input_count names
extern std::vector<router_output> router_outputs; // output_count outputs
extern std::deque<route_request>
    route_requests;                        // first in, first out; filled by clients, drained by the planner
extern bool dbg_nochg_assume;              // never show a take before the backend reports it; set at start-up
extern const std::uint64_t assume_timeout; // how long a shown take waits for its confirmation, microseconds

// Counts the changes of what a status shows, so that a reply once written can serve until the next change.
// Whoever writes the picture above says so with router_changed().
extern std::uint64_t router_version;
void router_changed();

// Turns all waiting requests into commands to the backend, closed by one "flush", and shows them at once with
// a deadline for the confirmation. Does nothing while no backend runs: requests wait.
void plan_route_changes();

// Puts back the saved sources of every output whose deadline is due.
void expire_assumed_routes();

// Queues a copy of `message` for the backend's standard input and traces its lines on standard error.
void router_send_message(const TavrixAPIRouterMessage& message);

// The same for a message that holds what a client made up. One that is too long for the backend's pipe would
// stay in front of all takes: it is dropped, and told in the trace.
void router_send_client_message(const TavrixAPIRouterMessage& message);

// Asks the backend to report its outputs and its inputs.
void request_router_report();
