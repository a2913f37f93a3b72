// What /proc tells of a process.
#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

// Children of `pid`, zombies included, in ascending order.
std::vector<pid_t> children_of(pid_t pid);

// The state letter ('R', 'S', 'T' stopped, 'Z' zombie, ...); 0 when there is no such process.
char process_state(pid_t pid);

// Open descriptors and what each stands for.
std::map<int, std::string> descriptors_of(pid_t pid);

// The value of a line of /proc/PID/status, such as "VmRSS" or "SigIgn", without blanks around it; empty when
// there is none.
std::string status_field(pid_t pid, const std::string& name);

// True when the process has a handler of its own for `signo`.
bool catches_signal(pid_t pid, int signo);

// Resident memory in KiB; 0 when there is no such process.
long resident_kib(pid_t pid);

// Memory of its own in KiB, counted page by page: no file's pages, which come and go with what runs. 0 when
// there is no such process.
long own_memory_kib(pid_t pid);
