// What the framework's own sources share and drivers do not see.
#pragma once

#include <cstddef>
#include <string>

extern int vrdx_ready_fd;               // --ready-fd; -1: none, or already told
extern std::string vrdx_metadir_switch; // --metadir; empty: not given
extern std::string vrdx_sock_switch;    // --sock; empty: not given

// Raises the soft limit of open descriptors to what all clients need. Returns how many clients that allows.
std::size_t vrdx_raise_descriptor_limit();
// Sets the limit back to what it was; for a child that executes another program.
void vrdx_restore_descriptor_limit();

// Makes the allocator give large blocks back to the system as soon as they are freed.
void vrdx_give_back_large_memory();

// The service manager's watchdog (vrdx_notify.cpp). The environment is read at start-up, because it is meant
// for the process that the service manager has started, and --daemon goes on in another process.
void vrdx_watchdog_begin();
void vrdx_readiness_repeat_when_due(); // says once more that we are ready, until that was sent; never waits
void vrdx_watchdog_feed_when_due();    // sends without waiting; makes no system call when it is not due

// The log file of the item, and a look at its size (vrdx_logfile.cpp).
void vrdx_rotate_logfile_when_due();
