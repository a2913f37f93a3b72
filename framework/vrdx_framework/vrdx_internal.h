// What the framework's own sources share and drivers do not see.
#pragma once

#include <cstddef>
#include <string>

extern int vrdx_ready_fd;               // --ready-fd; -1: none, or already told
extern std::string vrdx_metadir_switch; // --metadir; empty: not given
extern std::string vrdx_sock_switch;    // --sock; empty: not given

// Raises the soft limit of open descriptors to what all clients need; how many clients it allows.
std::size_t vrdx_raise_descriptor_limit();
// Puts it back; for a child that executes another program.
void vrdx_restore_descriptor_limit();

// Makes the allocator give large blocks back to the system as soon as they are freed.
void vrdx_give_back_large_memory();

// The service manager's watchdog (vrdx_notify.cpp). What the environment says is read at start-up, while we
// are still the process that it was meant for; --daemon makes us another.
void vrdx_watchdog_begin();
void vrdx_readiness_repeat_when_due(); // while the service manager has not heard of it; never waits
void vrdx_watchdog_feed_when_due(); // sends without waiting; asks the kernel for nothing when it is not due

// The log file of the item, and a look at its size (vrdx_logfile.cpp).
void vrdx_rotate_logfile_when_due();
