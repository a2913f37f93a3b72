// Tells the service manager (sd_notify) and whoever passed --ready-fd how the gateway does.
#pragma once

#include <cstdint>
#include <string>

namespace gateway {

// One datagram to $NOTIFY_SOCKET, as "READY=1"; nothing happens without one. False when there is one and it
// could not be told. Never waits.
bool tell_service_manager(const std::string& text);

// How often "WATCHDOG=1" is expected of this process, half of it, in milliseconds; 0: nobody waits for it.
std::uint64_t watchdog_period_ms();

// Writes the text to the descriptor and closes it; nothing for -1. False when it could not be written.
bool tell_ready_fd(int fd, const std::string& text);

} // namespace gateway
