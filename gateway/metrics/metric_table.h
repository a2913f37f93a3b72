// All metrics there are. What is written, docs/metrics.md and the dashboard are held against this table.
#pragma once

#include <span>

namespace gateway {

enum class metric_kind { gauge, counter, histogram, info };

struct metric {
    const char* name; // of the family: without _total, _bucket, _info
    metric_kind kind;
    const char* unit; // "" without one; else the name ends with it
    const char* help; // one line without quotes and backslashes
};

namespace figure {

// Of each router, with the label `router`.
extern const metric driver_up, backend_up, link_up, state_age, reconnects, takes, takes_unheard, take_time,
    rollbacks, backend_starts, clients, driver_uptime, crosspoint, crosspoints_left_out;

// Of each router of another site, likewise.
extern const metric far_router_up, far_router_age;

// Of the gateway itself.
extern const metric gateway_version, gateway_connections, gateway_event_readers, gateway_event_queue,
    gateway_event_queue_longest, gateway_open_requests, gateway_routers, gateway_routers_left_out, history_up,
    history_waiting, history_lost, history_bytes, exchange_up, history_unsent, history_sent, history_unread,
    history_read, process_memory, process_descriptors, process_processor_time, process_start_time;

} // namespace figure

// Each of them, in the order in which they are written.
std::span<const metric* const> all_metrics();

} // namespace gateway
