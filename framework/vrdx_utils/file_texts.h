// Whole texts out of files and into them, whatever a single call moves and whatever signals interrupt.
#pragma once

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

// Writes all of `text`. False with errno set.
inline bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count >= 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// Appends to `text` all that is left to read. False with errno set: EFBIG when `text` becomes longer than
// `most` bytes.
inline bool read_all(int fd, std::size_t most, std::string* text) {
    char block[65536]; // not initialised: read says how much of it counts
    for (;;) {
        const ssize_t count = read(fd, block, sizeof block);
        if (count == 0)
            return true;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        text->append(block, static_cast<std::size_t>(count));
        if (text->size() > most) {
            errno = EFBIG;
            return false;
        }
    }
}

// Makes a rename in `directory` outlast a power cut. Not every file system can; then the old file may come
// back.
inline void sync_directory(const std::string& directory) {
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    fsync(fd);
    close(fd);
}
