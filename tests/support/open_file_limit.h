// A process that can open only so many more files while this object lives.
#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>

// The number that the next opened file gets.
inline int lowest_free_descriptor() {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(fd);
    return fd;
}

class open_file_limit {
public:
    explicit open_file_limit(int files_more) {
        int limit = lowest_free_descriptor();
        for (int free = files_more; free > 0 || !is_free(limit); ++limit)
            free -= is_free(limit) ? 1 : 0;
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit lower{.rlim_cur = static_cast<rlim_t>(limit), .rlim_max = before_.rlim_max};
        if (setrlimit(RLIMIT_NOFILE, &lower) != 0)
            throw std::runtime_error("no limit on open files");
    }
    ~open_file_limit() {
        setrlimit(RLIMIT_NOFILE, &before_);
    }
    open_file_limit(const open_file_limit&) = delete;
    open_file_limit& operator=(const open_file_limit&) = delete;

private:
    static bool is_free(int fd) {
        return fcntl(fd, F_GETFD) < 0;
    }

    rlimit before_{};
};
