#include "backend.h"

#include "router.h"
#include "vrdx_assert.h"
#include "vrdx_trace.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <unistd.h>

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

// Reads all bytes of the buffer. `line` keeps a line that has not ended yet until the next call.
void consume_lines(sliding_window_v4* buffer, std::string& line, void (*use_line)(std::string_view)) {
    while (buffer->start != buffer->end) {
        auto* feed = static_cast<unsigned char*>(
            std::memchr(buffer->start, '\n', static_cast<std::size_t>(buffer->end - buffer->start)));
        append_without_carriage_returns(line, buffer->start, feed != nullptr ? feed : buffer->end);
        buffer->start = feed != nullptr ? feed + 1 : buffer->end;
        if (feed == nullptr)
            break;
        use_line(line);
        line.clear();
        if (line.capacity() > kept_text_capacity)
            line.shrink_to_fit();
    }
}

// Splits "<TAG>message"; a line without a tag is an error message as it stands.
void file_log_line(std::string_view line) {
    std::string_view tag = "ERR";
    std::string_view message = line;
    if (line.starts_with('<')) {
        const std::size_t close = std::min(line.find('>'), line.size());
        tag = line.substr(1, close - 1);
        message = line.substr(std::min(close + 1, line.size()));
    }
    vrdx_trace_write({"STDERR<", tag, ">: '", message, "'\n"});
    if (tag == "INFO" || tag == "NOTE" || (tag == "DBG" && debug_messages))
        append_log_line(last_notes, message);
    else if (tag != "DBG") // ERR, WARN, and whatever tag nobody knows
        append_log_line(last_error, message);
}

void read_report_line(std::string_view line) {
    vrdx_trace_write({"STDOUT: '", line, "'\n"});
    read_backend_report_line(line);
}

// Copies the next message behind what the buffer holds, when it fits whole. One per pass paces the backend.
void move_one_message() {
    const std::string* message = pending_line();
    if (message == nullptr)
        return;
    sliding_window_v4_lazy_flush(backend_stdinbuf);
    if (static_cast<std::size_t>(backend_stdinbuf->fence - backend_stdinbuf->end) < message->size())
        return;
    backend_stdinbuf->end = std::copy(message->begin(), message->end(), backend_stdinbuf->end);
    pending_line_moved();
}

} // namespace

void pending_to_buffer() {
    if (backend_stdin_fd < 0 || backend_stdinbuf == nullptr)
        return;
    vrdx_assert(sliding_window_v4_is_sane(backend_stdinbuf));
    if (pending_line_count() > 0)
        expire_takes(); // after the process was stopped for a while, the next take may have expired
    move_one_message();
    vrdx_assert(backend_stdinbuf->end <= backend_stdinbuf->fence);
    vrdx_assert(sliding_window_v4_is_sane(backend_stdinbuf));
    const long written = sliding_window_v4_empty_to_fd(backend_stdinbuf, backend_stdin_fd, 0);
    sliding_window_v4_lazy_flush(backend_stdinbuf);
    pending_lines_written(static_cast<std::size_t>(backend_stdinbuf->end - backend_stdinbuf->start));
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
    consume_lines(backend_stderrbuf, stderr_line, file_log_line);
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
    consume_lines(backend_stdoutbuf, stdout_line, read_report_line);
    sliding_window_v4_lazy_flush(backend_stdoutbuf);
    if (got < 0 && backend_stdoutbuf->start == backend_stdoutbuf->end) {
        std::fputs("Backend unexpectedly closed stdout\n", stdout); // this stream on purpose, not the trace
        stop_backend();
    }
}
