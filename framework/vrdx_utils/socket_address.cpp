#include "socket_address.h"

#include "item_paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// After a crash between binding and renaming, a later process with the same number may find its temporary
// name in use.
constexpr int temporary_names = 64;

bool fits_address(const std::string& path) {
    return path.size() < sizeof(sockaddr_un::sun_path);
}

// True for a text that can be a path; else errno says why not.
bool is_path(const std::string& path) {
    if (path.empty()) {
        errno = ENOENT;
        return false;
    }
    if (path.find('\0') != std::string::npos) {
        errno = EINVAL;
        return false;
    }
    return true;
}

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

std::string path_of_descriptor(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

int connect_address(int fd, const std::string& path) {
    const sockaddr_un address = address_of(path);
    int result = -1;
    do {
        result = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (result < 0 && errno == EINTR);
    return result;
}

// The umask sets the mode at the moment of creation, so the socket never has another mode.
int bind_address(int fd, const std::string& path, unsigned mode) {
    const sockaddr_un address = address_of(path);
    const mode_t previous = umask(~mode & 0777U);
    const int result = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    umask(previous);
    return result;
}

// Binds `fd` to a free temporary name in `directory`, which is also open as `directory_fd`, and stores the
// name. 0, or -1 with errno set.
int bind_temporary(int fd, const std::string& directory, int directory_fd, unsigned mode, std::string* name) {
    for (int attempt = 0; attempt < temporary_names; ++attempt) {
        *name = ".tavrixsock~" + std::to_string(getpid());
        if (attempt > 0)
            *name += "." + std::to_string(attempt);
        std::string path = directory + "/" + *name;
        if (!fits_address(path))
            path = path_of_descriptor(directory_fd) + "/" + *name;
        if (bind_address(fd, path, mode) == 0)
            return 0;
        if (errno != EADDRINUSE)
            return -1;
    }
    return -1;
}

int close_keeping_errno(int fd, int result) {
    const int reason = errno;
    close(fd);
    errno = reason;
    return result;
}

// Never replaces an existing file. Some network file systems cannot rename like that, but they can link.
int rename_to_free_name(int directory_fd, const std::string& from, const std::string& to) {
    const int result = renameat2(directory_fd, from.c_str(), directory_fd, to.c_str(), RENAME_NOREPLACE);
    if (result == 0 || errno != EINVAL)
        return result;
    if (linkat(directory_fd, from.c_str(), directory_fd, to.c_str(), 0) != 0)
        return -1;
    return unlinkat(directory_fd, from.c_str(), 0);
}

int bind_in_directory(int fd, int directory_fd, const std::string& path, unsigned mode, int backlog) {
    std::string temporary;
    if (bind_temporary(fd, item_directory(path), directory_fd, mode, &temporary) < 0)
        return -1;
    if (listen(fd, backlog) == 0 && rename_to_free_name(directory_fd, temporary, item_file_name(path)) == 0)
        return 0;
    const int reason = errno;
    unlinkat(directory_fd, temporary.c_str(), 0);
    errno = reason;
    return -1;
}

} // namespace

int connect_socket_path(int fd, const std::string& path) {
    if (!is_path(path))
        return -1;
    if (fits_address(path))
        return connect_address(fd, path);
    const int socket_fd = open(path.c_str(), O_PATH | O_CLOEXEC);
    if (socket_fd < 0)
        return -1;
    return close_keeping_errno(socket_fd, connect_address(fd, path_of_descriptor(socket_fd)));
}

int bind_socket_path(int fd, const std::string& path, unsigned mode, int backlog) {
    if (!is_path(path))
        return -1;
    const int directory_fd = open(item_directory(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (directory_fd < 0)
        return -1;
    return close_keeping_errno(directory_fd, bind_in_directory(fd, directory_fd, path, mode, backlog));
}
