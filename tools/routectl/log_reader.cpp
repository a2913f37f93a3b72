#include "log_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t longest_begun = 1048576; // a longer line is passed on in pieces

int open_file(log_reader* reader) {
    reader->fd = open(reader->path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat found {};
    if (reader->fd < 0)
        return -1;
    if (fstat(reader->fd, &found) == 0 && S_ISREG(found.st_mode)) {
        reader->inode = found.st_ino;
        return 0;
    }
    close_log(reader);
    errno = EINVAL;
    return -1;
}

// Reads up to the end of the file, and gives the whole lines.
std::string read_lines(log_reader* reader) {
    std::array<char, 65536> chunk; // not initialised: read says how much of it counts
    for (;;) {
        const ssize_t count = read(reader->fd, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        reader->begun.append(chunk.data(), static_cast<std::size_t>(count));
    }
    const auto end = reader->begun.rfind('\n');
    const std::size_t whole = end == std::string::npos ? 0 : end + 1;
    std::string lines = reader->begun.substr(0, whole);
    reader->begun.erase(0, whole);
    return reader->begun.size() > longest_begun ? lines + rest_of_log(reader) : lines;
}

bool was_cut_short(int fd) {
    struct stat found {};
    return fstat(fd, &found) == 0 && found.st_size < lseek(fd, 0, SEEK_CUR);
}

// The place where the last `lines` lines begin; looked for from the end, so that a large file costs nothing.
off_t start_of_last_lines(int fd, int lines) {
    std::array<char, 65536> chunk; // not initialised: pread says how much of it counts
    const off_t end = lseek(fd, 0, SEEK_END);
    int feeds = 0;
    for (off_t place = end; place > 0;) {
        const auto size = static_cast<std::size_t>(std::min<off_t>(place, static_cast<off_t>(chunk.size())));
        place -= static_cast<off_t>(size);
        if (pread(fd, chunk.data(), size, place) != static_cast<ssize_t>(size))
            return end;
        for (std::size_t i = size; i-- > 0;) {
            const off_t behind = place + static_cast<off_t>(i) + 1;
            if (chunk[i] == '\n' && (behind == end ? lines == 0 : ++feeds == lines))
                return behind;
        }
    }
    return lines == 0 ? end : 0;
}

} // namespace

int open_log(log_reader* reader, int lines, std::string* text) {
    if (open_file(reader) < 0)
        return -1;
    lseek(reader->fd, start_of_last_lines(reader->fd, lines), SEEK_SET);
    *text = read_lines(reader);
    return 0;
}

std::string read_log_further(log_reader* reader) {
    // Looks at the name first: what is written to the old file until then is read below.
    struct stat named {};
    const bool is_named = stat(reader->path.c_str(), &named) == 0;
    std::string lines;
    if (reader->fd >= 0) {
        if (was_cut_short(reader->fd)) {
            reader->begun.clear();
            lseek(reader->fd, 0, SEEK_SET);
        }
        lines = read_lines(reader);
    }
    if (is_named && (reader->fd < 0 || named.st_ino != reader->inode)) {
        lines += rest_of_log(reader);
        close_log(reader);
        if (open_file(reader) == 0)
            lines += read_lines(reader);
    }
    return lines;
}

std::string rest_of_log(log_reader* reader) {
    std::string rest;
    rest.swap(reader->begun);
    if (!rest.empty())
        rest += '\n';
    return rest;
}

void close_log(log_reader* reader) {
    if (reader->fd >= 0)
        close(reader->fd);
    reader->fd = -1;
}
