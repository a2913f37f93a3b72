// A router behind a serial line.
#pragma once

#include <string>

// True for the speeds that a line can be set to: 1200 to 230400.
bool is_serial_speed(int baud);

// Opens `device` as a raw line of eight data bits, no parity and one stop bit, without handshake, and throws
// away what came before. Non-blocking, close-on-exec, the caller's to close; -1, with *failure set to why,
// when it cannot be opened, is no serial line, is locked by another program, or does not know the speed.
int open_serial_line(const std::string& device, int baud, std::string* failure);
