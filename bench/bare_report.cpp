// The floor under a full report: reads standard input once per pass, splits it into lines, and writes the
// lines that the driver would trace to standard error. Every third blank line, which ends a full report, is
// stamped.
//
//   vrdx_bench_report BOARD
#include "board.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int messages_per_report = 3;
constexpr long wait_ns = 10000000; // as the driver's

// Consumes the whole lines of `text`; true when a full report ended among them.
bool trace_lines(std::string& text, std::string& trace, int& messages) {
    bool report_ended = false;
    std::size_t at = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', at)) {
        trace.append("STDOUT: '").append(text, at, end - at).append("'\n");
        if (end == at && ++messages == messages_per_report) {
            messages = 0;
            report_ended = true;
        }
        at = end + 1;
    }
    text.erase(0, at);
    return report_ended;
}

void write_whole(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
        if (count < 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace

int main(int argc, char** argv) {
    bench_board* board = argc == 2 ? map_board(argv[1], false) : nullptr;
    if (board == nullptr)
        return 1;
    fcntl(STDIN_FILENO, F_SETFL, fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK);
    static char chunk[262144];
    std::string text;
    std::string trace;
    int messages = 0;
    for (;;) {
        const timespec wait{0, wait_ns};
        nanosleep(&wait, nullptr);
        const ssize_t count = read(STDIN_FILENO, chunk, sizeof(chunk));
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (count <= 0)
            return 0;
        text.append(chunk, static_cast<std::size_t>(count));
        const bool report_ended = trace_lines(text, trace, messages);
        write_whole(trace);
        trace.clear();
        if (!report_ended)
            continue;
        board->report_traced = clock_ns();
        raise_event(*board);
    }
}
