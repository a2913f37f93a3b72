#include "sliding_window_v4.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <new>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::size_t room(const sliding_window_v4* buffer) {
    return static_cast<std::size_t>(buffer->fence - buffer->end);
}

std::size_t held(const sliding_window_v4* buffer) {
    return static_cast<std::size_t>(buffer->end - buffer->start);
}

bool would_block(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

// Blocks SIGPIPE in this thread while a write may raise it. The framework catches SIGPIPE, but the buffer is
// also used without the framework. Afterwards disposition and mask are as before, so that a child inherits
// what the process was started with.
struct sigpipe_guard {
    sigset_t old_mask;
    bool was_pending; // a SIGPIPE from elsewhere, which must stay pending
};

void hold_sigpipe(sigpipe_guard* guard) {
    sigset_t pending;
    sigpending(&pending);
    guard->was_pending = sigismember(&pending, SIGPIPE) == 1;
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, &guard->old_mask);
}

// `raised`: a write failed with EPIPE, so our own SIGPIPE waits to be fetched.
void release_sigpipe(const sigpipe_guard* guard, bool raised) {
    if (raised && !guard->was_pending) {
        sigset_t sigpipe;
        sigemptyset(&sigpipe);
        sigaddset(&sigpipe, SIGPIPE);
        const timespec at_once{};
        while (sigtimedwait(&sigpipe, nullptr, &at_once) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &guard->old_mask, nullptr);
}

// Writes until empty or until a write fails. The count of bytes written; *error is 0 or the failure's errno.
long write_held(sliding_window_v4* buffer, int fd, int* error) {
    long written = 0;
    *error = 0;
    while (buffer->start != buffer->end) {
        const ssize_t count = write(fd, buffer->start, held(buffer));
        if (count >= 0) {
            buffer->start += count;
            written += count;
        } else if (errno != EINTR) {
            *error = errno;
            break;
        }
    }
    return written;
}

// With nothing to send there is no write that could fail; poll() says whether the reader has gone.
long look_for_reader(int fd) {
    pollfd reader{.fd = fd, .events = 0, .revents = 0};
    if (poll(&reader, 1, 0) > 0) {
        errno = (reader.revents & POLLNVAL) != 0 ? EBADF : EPIPE;
        return -1;
    }
    return 0;
}

} // namespace

sliding_window_v4* sliding_window_v4_create_buffer(std::size_t capacity) {
    // Mapped, not allocated: a page costs memory only once it is used.
    void* storage = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (storage == MAP_FAILED)
        return nullptr;
    auto* base = static_cast<unsigned char*>(storage);
    auto* buffer = new (std::nothrow) sliding_window_v4{base, base, base + capacity, base};
    if (buffer == nullptr)
        munmap(storage, capacity);
    return buffer;
}

sliding_window_v4* sliding_window_v4_destroy(sliding_window_v4* buffer) {
    if (buffer != nullptr)
        munmap(buffer->base, static_cast<std::size_t>(buffer->fence - buffer->base));
    delete buffer;
    return nullptr;
}

bool sliding_window_v4_is_sane(const sliding_window_v4* buffer) {
    return buffer->base <= buffer->start && buffer->start <= buffer->end && buffer->end <= buffer->fence;
}

void sliding_window_v4_lazy_flush(sliding_window_v4* buffer) {
    if (buffer->start == buffer->base)
        return;
    const std::size_t count = held(buffer);
    std::memmove(buffer->base, buffer->start, count);
    buffer->start = buffer->base;
    buffer->end = buffer->base + count;
}

long sliding_window_v4_refill_from_fd(sliding_window_v4* buffer, int fd, int flags) {
    if (flags != 0) {
        errno = EINVAL;
        return -1;
    }
    long total = 0;
    std::size_t share = sliding_window_refill_bytes;
    while (std::min(room(buffer), share) > 0) {
        const ssize_t count = read(fd, buffer->end, std::min(room(buffer), share));
        if (count > 0) {
            buffer->end += count;
            share -= static_cast<std::size_t>(count);
            total += count;
        } else if (count == 0) { // what was read before the end of file is the caller's first
            return total > 0 ? total : -1;
        } else if (errno != EINTR) {
            return total > 0 || would_block(errno) ? total : -1;
        }
    }
    return total;
}

long sliding_window_v4_empty_to_fd(sliding_window_v4* buffer, int fd, int flags) {
    if (flags != 0) {
        errno = EINVAL;
        return -1;
    }
    if (buffer->start == buffer->end)
        return look_for_reader(fd);
    sigpipe_guard guard;
    hold_sigpipe(&guard);
    int error = 0;
    const long written = write_held(buffer, fd, &error);
    release_sigpipe(&guard, error == EPIPE);
    if (error == 0 || would_block(error))
        return written;
    buffer->start = buffer->end;
    errno = error;
    return -1;
}
