// Preloaded into the driver by tests: moves its clock, and makes the calls fail that a plan names. The
// backends that it starts inherit the library, too, and are left alone; a child between fork and exec is
// still the driver.
#include "fault_plan.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" void* __libc_malloc(std::size_t size); // the real one: looking it up would allocate

namespace {

// By system calls alone, because the library's own are interposed here.
fault_plan* map_plan() {
    const char* path = std::getenv(fault_plan_variable);
    if (path == nullptr || std::strcmp(program_invocation_short_name, "vrdx_routedriver") != 0)
        return nullptr;
    const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC));
    void* mapped = mmap(nullptr, sizeof(fault_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    syscall(SYS_close, fd);
    return mapped != MAP_FAILED ? static_cast<fault_plan*>(mapped) : nullptr;
}

fault_plan* plan() {
    static fault_plan* const mapped = map_plan();
    return mapped;
}

// Counts this call; true, with errno set, when it is to fail.
bool fails(fault_call call) {
    fault_plan* current = plan();
    if (current == nullptr || current->call != static_cast<std::uint32_t>(call))
        return false;
    const std::uint64_t number = ++current->seen;
    const std::uint64_t first = current->first;
    if (number < first || number - first >= current->failures)
        return false;
    errno = current->error;
    return true;
}

bool is_left_out(int fd) {
    const fault_plan* current = plan();
    struct stat target {};
    return current != nullptr && current->files_only != 0 &&
           (syscall(SYS_fstat, fd, &target) != 0 || !S_ISREG(target.st_mode));
}

template<typename function> function* real(const char* name) {
    return reinterpret_cast<function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static auto* const next = real<int(clockid_t, timespec*)>("clock_gettime");
    const fault_plan* current = plan();
    if (clock != CLOCK_MONOTONIC || current == nullptr)
        return next(clock, now);
    if (current->clock_fails != 0) {
        errno = EINVAL;
        return -1;
    }
    const int result = next(clock, now);
    const std::int64_t moved = current->clock_offset_us * 1000 + now->tv_nsec;
    now->tv_sec += moved / 1000000000;
    now->tv_nsec = moved % 1000000000;
    return result;
}

void* malloc(std::size_t size) noexcept {
    return fails(fault_call::allocate) ? nullptr : __libc_malloc(size);
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* size) noexcept {
    static auto* const next = real<int(int, int, int, void*, socklen_t*)>("getsockopt");
    const fault_plan* current = plan();
    const int result = next(fd, level, name, value, size);
    if (result == 0 && level == SOL_SOCKET && name == SO_PEERCRED && current != nullptr &&
        current->users_stand_in != 0)
        static_cast<ucred*>(value)->uid = current->user;
    return result;
}

ssize_t write(int fd, const void* data, std::size_t size) {
    static auto* const next = real<ssize_t(int, const void*, std::size_t)>("write");
    return !is_left_out(fd) && fails(fault_call::write_bytes) ? -1 : next(fd, data, size);
}

int fsync(int fd) {
    static auto* const next = real<int(int)>("fsync");
    return fails(fault_call::sync_file) ? -1 : next(fd);
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next = real<int(const char*, const char*)>("rename");
    return fails(fault_call::rename_file) ? -1 : next(from, to);
}

int renameat2(int from_fd, const char* from, int to_fd, const char* to, unsigned flags) noexcept {
    static auto* const next = real<int(int, const char*, int, const char*, unsigned)>("renameat2");
    return fails(fault_call::rename_file) ? -1 : next(from_fd, from, to_fd, to, flags);
}

int open(const char* path, int flags, ...) {
    static auto* const next = real<int(const char*, int, mode_t)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0U;
    va_end(arguments);
    return fails(fault_call::open_file) ? -1 : next(path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    static auto* const next = real<int(int, const char*, int, mode_t)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0U;
    va_end(arguments);
    return fails(fault_call::open_file) ? -1 : next(directory, path, flags, mode);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    static auto* const next = real<int(int, sockaddr*, socklen_t*, int)>("accept4");
    return fails(fault_call::accept_client) ? -1 : next(fd, address, size, flags);
}

int pipe2(int* ends, int flags) noexcept {
    static auto* const next = real<int(int*, int)>("pipe2");
    return fails(fault_call::make_pipe) ? -1 : next(ends, flags);
}

pid_t fork() noexcept {
    static auto* const next = real<pid_t()>("fork");
    return fails(fault_call::fork_child) ? -1 : next();
}

int dup2(int fd, int number) noexcept {
    static auto* const next = real<int(int, int)>("dup2");
    return fails(fault_call::duplicate) ? -1 : next(fd, number);
}

int dup3(int fd, int number, int flags) noexcept {
    static auto* const next = real<int(int, int, int)>("dup3");
    return fails(fault_call::duplicate) ? -1 : next(fd, number, flags);
}

int fcntl(int fd, int command, ...) {
    static auto* const next = real<int(int, int, void*)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return command == F_DUPFD_CLOEXEC && fails(fault_call::duplicate) ? -1 : next(fd, command, argument);
}

int execv(const char* path, char* const* arguments) noexcept {
    static auto* const next = real<int(const char*, char* const*)>("execv");
    return fails(fault_call::execute) ? -1 : next(path, arguments);
}

} // extern "C"
