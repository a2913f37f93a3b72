// The program under check as a child process, with the same pipes as the driver gives its backend.
#pragma once

#include <string>
#include <sys/types.h>

struct child_process {
    pid_t pid = -1;      // -1: none was started, or it has been collected
    int input = -1;      // our end of its standard input; -1: closed. All three ends never block
    int output = -1;     // of its standard output
    int log = -1;        // of its standard error
    int wait_status = 0; // how it ended, once `ended`
    bool ended = false;  // it has ended and was collected
};

// Starts `program` with "--file" and `item`. 0, or the errno value of what failed; then no child and no
// descriptor is left.
int start_child(child_process& child, const std::string& program, const std::string& item);

// Collects the child if it has ended. True when it has, now or before.
bool child_has_ended(child_process& child);

// Sends a signal to the child. Does nothing, to nobody, when there is none or it has ended.
void signal_child(const child_process& child, int signo);

// Closes one of the three ends, if it is open.
void close_end(int& end);

// Ends the child, and what it started in its process group, for good; closes all ends.
void remove_child(child_process& child);

// "exit code 1" or "signal 11 (Segmentation fault)", of a child that has ended.
std::string how_it_ended(const child_process& child);

// True when it ended by itself with exit code 0.
bool ended_well(const child_process& child);
