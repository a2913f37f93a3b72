// The three pipes between the scripted backend and the driver. The driver made them non-blocking; here every
// call waits, and ends the process when the driver is gone (unless told to stay).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

extern bool stay_without_driver; // directive "ignore-eof"

// "stdin", "stdout", "stderr" to 0, 1, 2; anything else ends the process.
int wire_number(const std::string& name);

void write_all(int fd, std::string_view bytes);
// One byte after the other, each only when the driver has read the one before.
void write_drop_by_drop(int fd, std::string_view bytes);

// The next line of standard input, without its line feed. False at its end.
bool read_line(std::string& line);

// Sleeps a little; ends the process when the driver has gone meanwhile.
void sleep_a_little();

// Ends the process with a line on standard error.
[[noreturn]] void give_up(const std::string& why);
