#include "gateway/metrics/metric_table.h"

#include <array>

namespace gateway {

namespace figure {

using enum metric_kind;

const metric driver_up{"vrdx_driver_up", gauge, "",
                       "1 while the driver tells the gateway what its router does, else 0."};
const metric backend_up{"vrdx_backend_up", gauge, "",
                        "1 while the backend of the driver runs, else 0; absent without a driver."};
const metric link_up{"vrdx_link_up", gauge, "",
                     "1 while the backend reaches its router, else 0; absent where the backend does not "
                     "tell, or nobody does."};
const metric state_age{"vrdx_state_age_seconds", gauge, "seconds",
                       "Since the driver said something last; absent when it never did."};
const metric reconnects{"vrdx_reconnects", counter, "",
                        "How often the driver began to tell its router anew, after the first time."};
const metric takes{"vrdx_takes", counter, "",
                   "Takes that were decided, by whomever they were asked for, as the gateway heard them."};
const metric takes_unheard{"vrdx_takes_unheard", counter, "",
                           "Takes that were decided while the gateway could not hear of them."};
const metric take_time{"vrdx_take_seconds", histogram, "seconds",
                       "From the request of a take to its confirmation by the router; of confirmed takes."};
const metric rollbacks{"vrdx_rollbacks", counter, "",
                       "Outputs that the driver rolled back, since the driver was started."};
const metric backend_starts{"vrdx_backend_starts", counter, "",
                            "Starts of the backend, the first one too, since the driver was started."};
const metric clients{"vrdx_clients", gauge, "",
                     "Clients of the driver's socket, connections of the gateway among them."};
const metric driver_uptime{"vrdx_driver_uptime_seconds", gauge, "seconds", "Since the driver was started."};
const metric crosspoint{"vrdx_crosspoint", gauge, "",
                        "Number of the input that the output shows, 0 for none; absent where nobody knows."};
const metric crosspoints_left_out{"vrdx_crosspoints_left_out", gauge, "",
                                  "Outputs whose crosspoints were too many to be told."};

const metric far_router_up{"vrdx_far_router_up", gauge, "",
                           "1 while the picture of another site's router is true now, else 0."};
const metric far_router_age{"vrdx_far_router_age_seconds", gauge, "seconds",
                            "Since the site of another site's router was heard last."};
const metric gateway_version{"vrdx_gateway", info, "", "The version of the gateway."};
const metric gateway_connections{"vrdx_gateway_connections", gauge, "",
                                 "Connections of HTTP and WebSocket clients."};
const metric gateway_event_readers{"vrdx_gateway_event_readers", gauge, "", "Readers of events."};
const metric gateway_event_queue{"vrdx_gateway_event_queue_bytes", gauge, "bytes",
                                 "What waits for the readers of events, of all of them."};
const metric gateway_event_queue_longest{"vrdx_gateway_event_queue_longest_bytes", gauge, "bytes",
                                         "What waits for the reader of events that is furthest behind."};
const metric gateway_open_requests{"vrdx_gateway_open_requests", gauge, "",
                                   "Takes and names on their way to drivers, without an answer."};
const metric gateway_routers{"vrdx_gateway_routers", gauge, "", "Routers that the gateway shows."};
const metric gateway_routers_left_out{
    "vrdx_gateway_routers_left_out", gauge, "",
    "Routers that are not told here: too many, or their names are no UTF-8."};
const metric history_up{"vrdx_history_up", gauge, "",
                        "1 while the history can be written, else 0; absent when none is kept."};
const metric history_waiting{"vrdx_history_waiting", gauge, "",
                             "Entries of the history that are not written yet."};
const metric history_lost{"vrdx_history_lost", counter, "", "Entries of the history that found no room."};
const metric history_bytes{"vrdx_history_bytes", gauge, "bytes", "Size of the file of the history."};
const metric exchange_up{"vrdx_history_exchange_up", gauge, "",
                         "1 while entries of the history go to other sites and come from there, else 0; "
                         "absent where they are not to."};
const metric history_unsent{"vrdx_history_unsent", gauge, "",
                            "Entries of this site's history that the broker has not acknowledged yet."};
const metric history_sent{"vrdx_history_sent", counter, "",
                          "Entries of this site's history that the broker has acknowledged."};
const metric history_unread{"vrdx_history_unread", gauge, "",
                            "Entries of other sites at the broker that are not read yet."};
const metric history_read{"vrdx_history_read", counter, "",
                          "Entries of other sites' histories that were read from the broker."};
const metric process_memory{"process_resident_memory_bytes", gauge, "bytes",
                            "Resident memory of the gateway."};
const metric process_descriptors{"process_open_fds", gauge, "", "Open descriptors of the gateway."};
const metric process_processor_time{"process_cpu_seconds", counter, "seconds",
                                    "Processor time of the gateway."};
const metric process_start_time{"process_start_time_seconds", gauge, "seconds",
                                "When the gateway was started, since 1970."};

} // namespace figure

namespace {

constexpr std::array all{
    &figure::driver_up,
    &figure::backend_up,
    &figure::link_up,
    &figure::state_age,
    &figure::reconnects,
    &figure::takes,
    &figure::takes_unheard,
    &figure::take_time,
    &figure::rollbacks,
    &figure::backend_starts,
    &figure::clients,
    &figure::driver_uptime,
    &figure::far_router_up,
    &figure::far_router_age,
    &figure::crosspoint,
    &figure::crosspoints_left_out,
    &figure::gateway_version,
    &figure::gateway_connections,
    &figure::gateway_event_readers,
    &figure::gateway_event_queue,
    &figure::gateway_event_queue_longest,
    &figure::gateway_open_requests,
    &figure::gateway_routers,
    &figure::gateway_routers_left_out,
    &figure::history_up,
    &figure::history_waiting,
    &figure::history_lost,
    &figure::history_bytes,
    &figure::exchange_up,
    &figure::history_unsent,
    &figure::history_sent,
    &figure::history_unread,
    &figure::history_read,
    &figure::process_memory,
    &figure::process_descriptors,
    &figure::process_processor_time,
    &figure::process_start_time,
};

} // namespace

std::span<const metric* const> all_metrics() {
    return all;
}

} // namespace gateway
