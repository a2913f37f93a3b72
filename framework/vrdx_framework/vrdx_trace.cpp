#include "vrdx_trace.h"

#include "monotonic_us.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t gather_bytes = 65536;
constexpr std::size_t forget_bytes = 1048576;
constexpr std::size_t careful_chunk_bytes = 4096; // what a pipe that is writable accepts without blocking

enum class target_kind {
    file,        // written to directly: a disk does not block for long
    socket,      // each call says that it must not block
    nonblocking, // opened once more for us, so that we do not change the flags of what others share with us
    careful,     // none of these: poll() is asked before each small piece
};

struct trace_stream {
    int fd;          // the standard descriptor
    int own_fd = -1; // for target_kind::nonblocking
    target_kind kind = target_kind::careful;
    std::string kept; // bytes from `written` on are not written yet
    std::size_t written = 0;
    std::size_t lost = 0; // bytes dropped since the reader fell behind
    bool reader_stuck =
        false; // one flush has waited in vain: none waits again until the reader has caught up
};

// Never destroyed, because the last flush of the streams comes after all destructors.
trace_stream& trace = *new trace_stream{.fd = STDERR_FILENO, .kept = {}};
trace_stream& output = *new trace_stream{.fd = STDOUT_FILENO, .kept = {}};

void choose_target(trace_stream& stream) {
    if (stream.own_fd >= 0)
        close(stream.own_fd);
    stream.own_fd = -1;
    stream.kind = target_kind::careful;
    struct stat found {};
    if (fstat(stream.fd, &found) != 0)
        return;
    if (S_ISREG(found.st_mode)) {
        stream.kind = target_kind::file;
    } else if (S_ISSOCK(found.st_mode)) {
        stream.kind = target_kind::socket;
    } else {
        const std::string path = "/proc/self/fd/" + std::to_string(stream.fd);
        stream.own_fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (stream.own_fd >= 0)
            stream.kind = target_kind::nonblocking;
    }
}

int descriptor(const trace_stream& stream) {
    return stream.own_fd >= 0 ? stream.own_fd : stream.fd;
}

// True when the target accepts something by `deadline`.
bool becomes_writable(const trace_stream& stream, std::uint64_t deadline) {
    for (;;) {
        const std::uint64_t now = monotonic_us();
        const std::uint64_t left = deadline > now ? deadline - now : 0;
        const timespec limit{static_cast<time_t>(left / 1000000), static_cast<long>(left % 1000000) * 1000};
        pollfd target{descriptor(stream), POLLOUT, 0};
        const int ready = ppoll(&target, 1, &limit, nullptr);
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

ssize_t write_piece(const trace_stream& stream, std::string_view text) {
    switch (stream.kind) {
    case target_kind::socket:
        return send(stream.fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case target_kind::careful:
        if (!becomes_writable(stream, 0)) {
            errno = EAGAIN;
            return -1;
        }
        return write(stream.fd, text.data(), std::min(text.size(), careful_chunk_bytes));
    case target_kind::file:
    case target_kind::nonblocking:
        break;
    }
    return write(descriptor(stream), text.data(), text.size());
}

// Writes what is accepted at once; returns the number of bytes that are done with.
std::size_t write_some(const trace_stream& stream, std::string_view text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write_piece(stream, text.substr(done));
        if (count >= 0)
            done += static_cast<std::size_t>(count);
        else if (errno == EAGAIN)
            break;
        else if (errno != EINTR)
            return text.size(); // reader gone or disk full: the trace is lost, the driver goes on
    }
    return done;
}

// The memory of what was written long ago is given back in large pieces.
void forget_written(trace_stream& stream) {
    if (stream.written < forget_bytes)
        return;
    stream.kept.erase(0, stream.written);
    stream.written = 0;
}

// Once something is lost, everything is dropped until the reader has caught up: so the trace has one gap, and
// a line says how large it is.
void keep(trace_stream& stream, std::string_view text) {
    if (stream.kept.size() + text.size() > trace_kept_bytes)
        forget_written(stream);
    if (stream.lost > 0 || stream.kept.size() + text.size() > trace_kept_bytes)
        stream.lost += text.size();
    else
        stream.kept += text;
}

void write_kept(trace_stream& stream) {
    stream.written += write_some(stream, std::string_view(stream.kept).substr(stream.written));
    if (stream.written < stream.kept.size()) {
        if (stream.written > stream.kept.size() / 2)
            forget_written(stream);
        return;
    }
    stream.kept.clear();
    stream.kept.shrink_to_fit();
    stream.written = 0;
    stream.reader_stuck = false;
    if (stream.lost > 0)
        stream.kept =
            "\n(" + std::to_string(stream.lost) + " bytes of trace lost: nobody read them in time)\n";
    stream.lost = 0;
}

void flush_stream(trace_stream& stream, std::uint64_t patience_us) {
    if (stream.kept.empty())
        return;
    write_kept(stream);
    const std::uint64_t deadline = monotonic_us() + patience_us;
    while (!stream.kept.empty() && !stream.reader_stuck) {
        stream.reader_stuck = !becomes_writable(stream, deadline) || monotonic_us() >= deadline;
        write_kept(stream);
    }
}

ssize_t take_text(void* cookie, const char* data, std::size_t size) {
    const int error = errno; // writing a line must not change the errno that it tells about
    trace_stream& stream = *static_cast<trace_stream*>(cookie);
    std::string_view text(data, size);
    if (stream.kept.empty())
        text.remove_prefix(write_some(stream, text));
    if (!text.empty())
        keep(stream, text);
    errno = error;
    return static_cast<ssize_t>(size);
}

FILE* open_stream(trace_stream& stream, char* gathered, int mode) {
    choose_target(stream);
    FILE* file = fopencookie(&stream, "w", {nullptr, take_text, nullptr, nullptr});
    if (file != nullptr)
        std::setvbuf(file, gathered, mode, gather_bytes);
    return file;
}

[[noreturn]] void end_on_uncaught_exception() {
    std::fputs("Ended by an uncaught exception\n", stderr);
    vrdx_trace_flush();
    std::abort();
}

void flush_both(std::uint64_t patience_us) {
    if (__fpending(stderr) > 0) // mostly nothing waits, and the answer is cheaper than the flush
        std::fflush(stderr);
    flush_stream(trace, patience_us);
    flush_stream(output, 0);
}

// After a wrong use or a failed start the trace says why, and its reader may be busy at the moment.
void finish() {
    trace.reader_stuck = false;
    flush_both(trace_last_patience_us);
}

} // namespace

int vrdx_trace_begin() {
    static char gathered[2][gather_bytes];
    FILE* gathering_trace = open_stream(trace, gathered[0], _IOFBF);
    FILE* gathering_output = open_stream(output, gathered[1], _IOLBF);
    if (gathering_trace == nullptr || gathering_output == nullptr || std::atexit(finish) != 0)
        return -1;
    std::fflush(stdout);
    stderr = gathering_trace;
    stdout = gathering_output;
    std::set_terminate(end_on_uncaught_exception);
    return 0;
}

void vrdx_trace_retarget() {
    choose_target(trace);
    choose_target(output);
}

void vrdx_trace_flush() {
    flush_both(trace_patience_us);
}

void vrdx_trace_write(std::initializer_list<std::string_view> pieces) {
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
