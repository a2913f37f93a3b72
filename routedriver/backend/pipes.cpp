#include "backend.h"

#include "vrdx_assert.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <unistd.h>

std::deque<std::string> pending_lines;
std::string stdout_line;
std::string stderr_line;
bool debug_messages = false;

namespace {

void append_without_carriage_returns(std::string& line, const unsigned char* from, const unsigned char* to) {
    while (from != to) {
        const auto* next =
            static_cast<const unsigned char*>(std::memchr(from, '\r', static_cast<std::size_t>(to - from)));
        const unsigned char* stop = next != nullptr ? next : to;
        line.append(reinterpret_cast<const char*>(from), static_cast<std::size_t>(stop - from));
        from = next != nullptr ? next + 1 : to;
    }
}

// Consumes all bytes held. `line` carries what is not ended yet from one read to the next.
void consume_lines(sliding_window_v4* buffer, std::string& line, void (*take_line)(std::string_view)) {
    while (buffer->start != buffer->end) {
        auto* feed = static_cast<unsigned char*>(
            std::memchr(buffer->start, '\n', static_cast<std::size_t>(buffer->end - buffer->start)));
        append_without_carriage_returns(line, buffer->start, feed != nullptr ? feed : buffer->end);
        buffer->start = feed != nullptr ? feed + 1 : buffer->end;
        if (feed == nullptr)
            break;
        take_line(line);
        line.clear();
        if (line.capacity() > kept_text_capacity)
            line.shrink_to_fit();
    }
}

// Floods are traced, too: one call for a line of ordinary length, and no lock, as there is only one thread.
void trace(std::initializer_list<std::string_view> pieces) {
    char line[512];
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        if (piece.size() > sizeof(line) - length) {
            fwrite_unlocked(line, 1, length, stderr);
            length = 0;
        }
        if (piece.size() > sizeof(line)) {
            fwrite_unlocked(piece.data(), 1, piece.size(), stderr);
            continue;
        }
        length += piece.copy(line + length, piece.size());
    }
    fwrite_unlocked(line, 1, length, stderr);
}

// Splits "<TAG>message"; a line without a tag is an error message as it stands.
void take_log_line(std::string_view line) {
    std::string_view tag = "ERR";
    std::string_view message = line;
    if (line.starts_with('<')) {
        const std::size_t close = std::min(line.find('>'), line.size());
        tag = line.substr(1, close - 1);
        message = line.substr(std::min(close + 1, line.size()));
    }
    trace({"STDERR<", tag, ">: '", message, "'\n"});
    if (tag == "INFO" || tag == "NOTE" || (tag == "DBG" && debug_messages))
        append_log_line(last_notes, message);
    else if (tag != "DBG") // ERR, WARN, and whatever tag nobody knows
        append_log_line(last_error, message);
}

void take_report_line(std::string_view line) {
    trace({"STDOUT: '", line, "'\n"});
    take_backend_report_line(line);
}

// Copies the oldest message behind what the buffer holds, when it fits whole. One per pass paces the backend.
void move_one_message() {
    if (pending_lines.empty())
        return;
    const std::string& message = pending_lines.front();
    sliding_window_v4_lazy_flush(backend_stdinbuf);
    if (static_cast<std::size_t>(backend_stdinbuf->fence - backend_stdinbuf->end) < message.size())
        return;
    backend_stdinbuf->end = std::copy(message.begin(), message.end(), backend_stdinbuf->end);
    pending_lines.pop_front();
}

} // namespace

void pending_to_buffer() {
    if (backend_stdin_fd < 0 || backend_stdinbuf == nullptr)
        return;
    vrdx_assert(sliding_window_v4_is_sane(backend_stdinbuf));
    move_one_message();
    vrdx_assert(backend_stdinbuf->end <= backend_stdinbuf->fence);
    vrdx_assert(sliding_window_v4_is_sane(backend_stdinbuf));
    const long written = sliding_window_v4_empty_to_fd(backend_stdinbuf, backend_stdin_fd, 0);
    sliding_window_v4_lazy_flush(backend_stdinbuf);
    if (written < 0 && backend_stdinbuf->start == backend_stdinbuf->end) {
        std::fputs("Backend unexpectedly closed stdin\n", stdin); // this stream on purpose: mostly lost
        stop_backend();
    }
}

void read_backend_stderr() {
    if (backend_stderrbuf == nullptr)
        return;
    sliding_window_v4_lazy_flush(backend_stderrbuf);
    const long got = sliding_window_v4_refill_from_fd(backend_stderrbuf, backend_stderr_fd, 0);
    consume_lines(backend_stderrbuf, stderr_line, take_log_line);
    sliding_window_v4_lazy_flush(backend_stderrbuf);
    if (got < 0 && backend_stderrbuf->start == backend_stderrbuf->end) {
        std::fputs("Backend unexpectedly closed stderr\n", stderr);
        backend_stderrbuf = sliding_window_v4_destroy(backend_stderrbuf);
        close(backend_stderr_fd);
        backend_stderr_fd = -1;
    }
}

void read_backend_stdout() {
    if (backend_stdoutbuf == nullptr)
        return;
    sliding_window_v4_lazy_flush(backend_stdoutbuf);
    const long got = sliding_window_v4_refill_from_fd(backend_stdoutbuf, backend_stdout_fd, 0);
    consume_lines(backend_stdoutbuf, stdout_line, take_report_line);
    sliding_window_v4_lazy_flush(backend_stdoutbuf);
    if (got < 0 && backend_stdoutbuf->start == backend_stdoutbuf->end) {
        std::fputs("Backend unexpectedly closed stdout\n", stdout); // this stream on purpose, not the trace
        stop_backend();
    }
}
