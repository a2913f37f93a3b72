// The last lines of a log file, and what is written to it afterwards.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

struct log_reader {
    std::string path;
    int fd = -1;       // -1: no file yet, or no more
    ino_t inode = 0;   // of the open file
    std::string begun; // the bytes of a line that has not ended yet
};

// Opens the file and reads its last `lines` lines. 0 with their text, or -1 with errno set.
int open_log(log_reader* reader, int lines, std::string* text);

// What has been written since: whole lines. A new file in the place of the old one (the driver begins one at
// 16 MiB) is read from its beginning, after the rest of the old one; a file that was cut short likewise.
// While there is no file there is nothing to read.
std::string read_log_further(log_reader* reader);

// The line that was not ended when the file was read; empty for none.
std::string rest_of_log(log_reader* reader);

void close_log(log_reader* reader);
