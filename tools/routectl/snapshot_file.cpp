#include "snapshot_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t largest_file = 16777216; // 16 MiB

int write_all(int fd, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(fd, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR)
            return -1;
        if (count > 0)
            written += static_cast<std::size_t>(count);
    }
    return 0;
}

// The mode that a newly created file would have.
mode_t default_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

} // namespace

int replace_file(const std::string& path, const std::string& text) {
    std::string temporary = path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return -1;
    bool good = fchmod(fd, default_mode()) == 0 && write_all(fd, text) == 0 && fsync(fd) == 0;
    int reason = errno;
    if (close(fd) < 0 && good) {
        good = false;
        reason = errno;
    }
    if (good && std::rename(temporary.c_str(), path.c_str()) == 0)
        return 0;
    if (good)
        reason = errno;
    unlink(temporary.c_str());
    errno = reason;
    return -1;
}

int read_whole_file(const std::string& path, std::string* text) {
    text->clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    std::array<char, 65536> chunk; // not initialised: read says how much of it counts
    int reason = 0;
    for (;;) {
        const ssize_t count = read(fd, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            reason = errno;
        if (count <= 0)
            break;
        text->append(chunk.data(), static_cast<std::size_t>(count));
        if (text->size() > largest_file) {
            reason = EFBIG;
            break;
        }
    }
    close(fd);
    errno = reason;
    return reason == 0 ? 0 : -1;
}
