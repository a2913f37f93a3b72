#include "state_file.h"

#include "file_texts.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t largest_state_file = std::size_t{64} * 1024 * 1024;

// Repeats a system call that a signal interrupts.
template<typename Call> auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Reads a regular file only: a device or a pipe may have no end.
bool read_regular_file(int fd, std::string& text) {
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && read_all(fd, largest_state_file, &text);
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

std::string directory_of(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
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
    const bool restored = read_regular_file(fd, text) && restore_state(text, router);
    close(fd);
    if (!restored) {
        add_log_line(log, "WARN", "state file " + path + " holds no router state, starting fresh");
    }
}

void save_state_file(const std::string& path, const simulated_router& router, log_lines& log) {
    const std::string new_path = path + ".new";
    if (write_new_file(new_path, state_text(router)) && rename(new_path.c_str(), path.c_str()) == 0) {
        sync_directory(directory_of(path));
        return;
    }
    add_log_line(log, "ERR", "cannot save state file " + path + ": " + std::strerror(errno));
    unlink(new_path.c_str());
}
