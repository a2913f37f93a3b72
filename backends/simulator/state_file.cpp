#include "state_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr off_t largest_state_file = off_t{64} * 1024 * 1024;

// Repeats a system call that a signal interrupts.
template<typename Call> auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

bool read_whole_file(int fd, std::string& text) {
    struct stat status = {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largest_state_file) {
        return false;
    }
    text.resize(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t count =
            uninterrupted([&] { return read(fd, text.data() + filled, text.size() - filled); });
        if (count <= 0) {
            return false;
        }
        filled += static_cast<std::size_t>(count);
    }
    return true;
}

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = uninterrupted([&] { return write(fd, text.data(), text.size()); });
        if (count < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// False with errno set.
bool write_new_file(const std::string& path, std::string_view text) {
    const int fd = uninterrupted(
        [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644); });
    if (fd < 0) {
        return false;
    }
    const bool written = write_all(fd, text) && fsync(fd) == 0;
    const int reason = errno;
    if (close(fd) != 0 && written) {
        return false;
    }
    errno = reason;
    return written;
}

// Makes the rename itself last. Not every file system can; then the old state may come back after a power
// cut.
void sync_directory_of(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

} // namespace

void load_state_file(const std::string& path, simulated_router& router, log_lines& log) {
    // Without O_NONBLOCK a named pipe put in the file's place would stop the start.
    const int fd = uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); });
    if (fd < 0) {
        if (errno != ENOENT) {
            add_log_line(log, "WARN", "cannot read state file " + path + ": " + std::strerror(errno));
        }
        return;
    }
    std::string text;
    const bool restored = read_whole_file(fd, text) && restore_state(text, router);
    close(fd);
    if (!restored) {
        add_log_line(log, "WARN", "state file " + path + " holds no router state, starting fresh");
    }
}

void save_state_file(const std::string& path, const simulated_router& router, log_lines& log) {
    const std::string new_path = path + ".new";
    if (write_new_file(new_path, state_text(router)) && rename(new_path.c_str(), path.c_str()) == 0) {
        sync_directory_of(path);
        return;
    }
    add_log_line(log, "ERR", "cannot save state file " + path + ": " + std::strerror(errno));
    unlink(new_path.c_str());
}
