// Preloaded into gateways and drivers by tests: moves their clock of the day, and the one that goes on while
// a machine sleeps, by what stands in the file that VRDX_MOVED_CLOCK names: two numbers of 64 bits,
// nanoseconds. Waits until a time of the day move with it, as the kernel lets them.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::int64_t nanoseconds = 1000000000; // in a second
constexpr std::int64_t slice = nanoseconds / 10; // a wait looks so often whether the clock was moved

using offsets = std::array<std::atomic<std::int64_t>, 2>; // of the day, of the time since the machine's start

const offsets* map_offsets() {
    const char* const path = std::getenv("VRDX_MOVED_CLOCK");
    const int fd = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    void* const mapped = mmap(nullptr, sizeof(offsets), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    return mapped == MAP_FAILED ? nullptr : static_cast<const offsets*>(mapped);
}

std::int64_t offset_of(clockid_t clock) {
    static const offsets* const moved = map_offsets();
    if (moved == nullptr)
        return 0;
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)
        return (*moved)[0];
    return clock == CLOCK_BOOTTIME ? (*moved)[1].load() : 0;
}

std::int64_t count(const timespec& time) {
    return time.tv_sec * nanoseconds + time.tv_nsec;
}

timespec time_of(std::int64_t count) {
    return {count / nanoseconds, count % nanoseconds};
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static auto* const next =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, now);
    if (const std::int64_t offset = offset_of(clock); result == 0 && offset != 0) {
        *now = time_of(count(*now) + offset);
    }
    return result;
}

time_t time(time_t* into) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (into != nullptr)
        *into = now.tv_sec;
    return now.tv_sec;
}

int gettimeofday(timeval* into, void*) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    into->tv_sec = now.tv_sec;
    into->tv_usec = now.tv_nsec / 1000;
    return result;
}

// Who waits for a monotonic time has another call.
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    static auto* const next = reinterpret_cast<int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*)>(
        dlsym(RTLD_NEXT, "pthread_cond_timedwait"));
    for (;;) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        const std::int64_t left = count(*until) - count(now);
        const timespec look =
            time_of(count(now) - offset_of(CLOCK_REALTIME) + std::clamp(left, std::int64_t{0}, slice));
        const int result = next(condition, mutex, &look);
        if (result != ETIMEDOUT || left <= slice)
            return result;
    }
}

} // extern "C"
