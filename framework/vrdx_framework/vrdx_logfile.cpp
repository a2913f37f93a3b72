#include "vrdx.h"

#include "item_paths.h"
#include "vrdx_internal.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr off_t max_log_bytes = 16777216;              // 16 MiB, then a new file begins
constexpr std::uint64_t size_check_period_us = 100000; // a flood writes some ten MiB in that time

std::string log_path; // empty: the trace does not go to our log file
std::uint64_t next_size_check = 0;

// Makes standard error write to the log file. The descriptor stays open all the time.
bool point_stderr_at_log() {
    // Never blocks, and never writes into anything but a file (a FIFO in its place).
    const int fd = open(log_path.c_str(),
                        O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0640);
    if (fd < 0)
        return false;
    struct stat log {};
    const bool moved =
        fstat(fd, &log) == 0 && S_ISREG(log.st_mode) && dup2(fd, STDERR_FILENO) == STDERR_FILENO;
    close(fd);
    vrdx_trace_retarget();
    return moved;
}

} // namespace

int vrdx_redirect_stderr_to_logfile() {
    vrdx_trace_flush();
    log_path = item_log_path(vrdx_file, vrdx_file_metadir);
    if (point_stderr_at_log())
        return 0;
    log_path.clear();
    return -1;
}

void vrdx_rotate_logfile_when_due() {
    if (log_path.empty() || monotonic_us() < next_size_check)
        return;
    next_size_check = monotonic_us() + size_check_period_us;
    struct stat log {};
    if (fstat(STDERR_FILENO, &log) != 0 || log.st_size < max_log_bytes)
        return;
    vrdx_trace_flush();
    // When one of the steps fails, the trace goes on into the present file. A log file that was removed is
    // made anew.
    if (std::rename(log_path.c_str(), (log_path + ".1").c_str()) == 0 || errno == ENOENT)
        point_stderr_at_log();
}
