#include "print_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int longest_wait_ms = 1000;

bool is_stuck = false; // the last line was dropped: the next one is written at once, or dropped, too
bool is_torn = false;  // the last line was written in part only

// False when there is no room in time. There is then room for a piece, even if standard error would block.
bool wait_for_room() {
    pollfd wait = {STDERR_FILENO, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&wait, 1, is_stuck ? 0 : longest_wait_ms);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// How much of `text` was written; less than all of it when the log is not read.
std::size_t write_while_read(std::string_view text) {
    std::size_t written = 0;
    while (written < text.size() && wait_for_room()) {
        const std::size_t piece = std::min<std::size_t>(text.size() - written, PIPE_BUF);
        const ssize_t count = write(STDERR_FILENO, text.data() + written, piece);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            break; // nobody reads the log any more
        }
    }
    return written;
}

} // namespace

// A driver that is slow to read must not delay the takes. Nor may it keep us from noticing that it has ended,
// which is seen on standard input.
void print_log_line(std::string line) {
    line.push_back('\n');
    if (is_torn) {
        line.insert(line.begin(), '\n');
    }
    const std::size_t written = write_while_read(line);
    is_stuck = written < line.size();
    if (written > 0) {
        is_torn = line[written - 1] != '\n';
    }
}

void print_log(log_lines& log) {
    for (std::string& line : log) {
        print_log_line(std::move(line));
    }
    log.clear();
}
