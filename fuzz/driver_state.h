// The driver's process-wide state, for targets that run its pure parts again and again.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

extern std::uint64_t fuzz_clock_us; // what monotonic_us() answers

// The driver as it is when it starts: no router, no backend, no requests, no logs.
void reset_driver();

// The size of the router, as a backend reports it: what the lists hold within it stays.
void report_router_size(int inputs, int outputs, bool split);

// As if a backend had been started, without a process or a pipe: nothing here may read, write or stop it.
void connect_backend();

// As if the backend had been stopped: what was queued for it is dropped.
void disconnect_backend();

// Aborts unless the router model keeps its promises: counts within bounds, lists as long as the counts,
// deadlines 0, still to come, or at most the confirmation time ahead, and none where nothing is assumed.
void check_router_model();

// Moves all queued messages out. Aborts unless each ends in its blank line and reads back as what was sent,
// and there are as many as were counted. `look` sees each of them.
void check_pending_messages(const std::function<void(const std::string&)>& look = nullptr);

// Aborts unless a "status" packet shows the model, read as a client reads it.
void check_status_reply();
