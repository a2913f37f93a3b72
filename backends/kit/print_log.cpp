#include "print_log.h"

#include <cerrno>
#include <poll.h>
#include <string_view>
#include <unistd.h>

// Standard error may be non-blocking, but no log line is to be lost while the driver is only slow to read.
void print_log_line(std::string line) {
    line.push_back('\n');
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t count = write(STDERR_FILENO, rest.data(), rest.size());
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd wait = {STDERR_FILENO, POLLOUT, 0};
            poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            return; // nobody reads the log any more
        }
    }
}

void print_log(log_lines& log) {
    for (std::string& line : log) {
        print_log_line(std::move(line));
    }
    log.clear();
}
