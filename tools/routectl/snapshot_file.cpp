#include "snapshot_file.h"

#include "file_texts.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t largest_file = 16777216; // 16 MiB

// The mode that a newly created file would have.
mode_t default_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

const char* kind_of(mode_t mode) {
    if (S_ISDIR(mode))
        return "it is a directory";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "it is a device";
    return S_ISFIFO(mode) ? "it is a pipe" : "it is no regular file";
}

struct replaced_file {
    std::string path; // with links followed
    bool exists = false;
    struct stat state {};
};

// Empty, or why there can be no file at `path`.
std::string find_file(const std::string& path, replaced_file* file) {
    file->path = path;
    if (stat(path.c_str(), &file->state) < 0) {
        if (errno != ENOENT)
            return std::strerror(errno);
        struct stat link {};
        return lstat(path.c_str(), &link) == 0 ? "it is a link to nothing" : "";
    }
    if (!S_ISREG(file->state.st_mode))
        return kind_of(file->state.st_mode);
    file->exists = true;
    char* const real = realpath(path.c_str(), nullptr);
    if (real == nullptr)
        return std::strerror(errno);
    file->path = real;
    std::free(real);
    return {};
}

// Mode and owner of the file before. Not being allowed to give it to its owner is no failure.
bool copy_state(int fd, const replaced_file& file) {
    if (!file.exists)
        return fchmod(fd, default_mode()) == 0;
    if (fchown(fd, file.state.st_uid, file.state.st_gid) < 0)
        errno = 0;
    return fchmod(fd, file.state.st_mode & 07777U) == 0;
}

} // namespace

std::string replace_file(const std::string& path, const std::string& text) {
    replaced_file file;
    std::string problem = find_file(path, &file);
    if (!problem.empty())
        return problem;
    std::string temporary = file.path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return std::strerror(errno);
    if (!copy_state(fd, file) || !write_all(fd, text) || fsync(fd) < 0)
        problem = std::strerror(errno);
    if (close(fd) < 0 && problem.empty())
        problem = std::strerror(errno);
    if (problem.empty() && std::rename(temporary.c_str(), file.path.c_str()) < 0)
        problem = std::strerror(errno);
    if (!problem.empty())
        unlink(temporary.c_str());
    return problem;
}

int read_whole_file(const std::string& path, std::string* text) {
    text->clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const int reason = read_all(fd, largest_file, text) ? 0 : errno;
    close(fd);
    errno = reason;
    return reason == 0 ? 0 : -1;
}
