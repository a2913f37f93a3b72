#include "item_paths.h"
#include "metadata_v4.h"
#include "monotonic_us.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr long lock_retry_ns = 10000000; // 10 ms

void close_if_open(int* fd) {
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

int open_item(const metadata_v4_context* context) {
    // Non-blocking, so that a FIFO in the place of the item cannot stop the driver.
    return openat(context->dir_fd, context->file_name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

// Makes descriptor `number` refer to what `fd` refers to, in one step, so that no other file can get the
// number.
int put_in_place_of(int fd, int number) {
    int result = 0;
    do
        result = dup3(fd, number, O_CLOEXEC);
    while (result < 0 && (errno == EINTR || errno == EBUSY));
    return result < 0 ? -1 : 0;
}

bool has_passed(std::uint64_t started, std::uint64_t patience_us) {
    return monotonic_us() - started >= patience_us;
}

// 0, or -1 with errno set (EWOULDBLOCK: another process kept the lock all the time).
int lock_patiently(int fd, std::uint64_t patience_us) {
    const std::uint64_t started = monotonic_us();
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK || has_passed(started, patience_us))
            return -1;
        const timespec pause{.tv_sec = 0, .tv_nsec = lock_retry_ns};
        nanosleep(&pause, nullptr);
    }
    return 0;
}

} // namespace

metadata_v4_context* metadata_v4_context_open(const std::string& path, const std::string& metadata_path) {
    auto context = std::make_unique<metadata_v4_context>();
    context->file_name = item_file_name(path);
    context->metadata_path = metadata_path;
    context->dir_fd = open(item_directory(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (context->dir_fd < 0)
        return nullptr;
    context->file_fd = open_item(context.get());
    if (context->file_fd < 0) {
        const int error = errno;
        close(context->dir_fd);
        errno = error;
        return nullptr;
    }
    return context.release();
}

void metadata_v4_context_free(metadata_v4_context* context) {
    if (context == nullptr)
        return;
    close_if_open(&context->file_fd);
    close_if_open(&context->lock_fd);
    close_if_open(&context->dir_fd);
    delete context;
}

int metadata_v4_context_lock(metadata_v4_context* context, std::uint64_t patience_us) {
    // A descriptor of its own: the lock must stay when the item is reopened, and is released separately.
    if (context->lock_fd < 0)
        context->lock_fd = open_item(context);
    if (context->lock_fd < 0)
        return -1;
    if (lock_patiently(context->lock_fd, patience_us) == 0)
        return 0;
    const int error = errno;
    close_if_open(&context->lock_fd);
    errno = error;
    return -1;
}

void metadata_v4_context_close_the_file(metadata_v4_context* context) {
    put_in_place_of(context->dir_fd, context->file_fd);
}

int metadata_v4_context_open_the_file(metadata_v4_context* context) {
    const int fd = open_item(context);
    if (fd >= 0 && put_in_place_of(fd, context->file_fd) == 0) {
        close(fd);
        return 0;
    }
    const int error = errno;
    if (fd >= 0)
        close(fd);
    metadata_v4_context_close_the_file(context);
    errno = error;
    return -1;
}
