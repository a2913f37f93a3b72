#include "system_status.h"

#include "monotonic_us.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t renewal_us = 1000000;
constexpr double bytes_per_mib = 1048576;

struct cached_text {
    std::string text; // empty: never made
    std::uint64_t made_at = 0;
};

cached_text shm;
cached_text mem;
cached_text cpu;

// CPU time of this process and the clock, both in microseconds, when CPU use was last measured.
struct cpu_mark {
    bool valid = false;
    std::uint64_t used = 0;
    std::uint64_t at = 0;
};

cpu_mark last_cpu_mark;

template<typename... Values> std::string formatted(const char* format, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string make_shm_text() {
    struct statvfs volume {};
    if (statvfs("/dev/shm", &volume) != 0)
        return "; shm unknown";
    const double mib_per_block = static_cast<double>(volume.f_frsize) / bytes_per_mib;
    const double total = static_cast<double>(volume.f_blocks) * mib_per_block;
    const double free = static_cast<double>(volume.f_bfree) * mib_per_block;
    return formatted("; shm %.1f MiB of %.1f MiB used", total - free, total);
}

// Resident memory of this process in bytes, negative when unknown.
double resident_bytes() {
    std::FILE* statm = std::fopen("/proc/self/statm", "re");
    if (statm == nullptr)
        return -1;
    char text[128] = "";
    const bool read = std::fgets(text, sizeof text, statm) != nullptr;
    std::fclose(statm);
    char* second = text;
    std::strtoul(text, &second, 10); // the whole address space; resident pages come after it
    char* end = second;
    const unsigned long pages = std::strtoul(second, &end, 10);
    if (!read || end == second)
        return -1;
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

std::string make_mem_text() {
    const double resident = resident_bytes();
    struct sysinfo machine {};
    if (resident < 0 || sysinfo(&machine) != 0)
        return "; mem unknown";
    const double free = static_cast<double>(machine.freeram) * static_cast<double>(machine.mem_unit);
    return formatted("; mem %.1f MiB resident, %.1f MiB free", resident / bytes_per_mib,
                     free / bytes_per_mib);
}

std::uint64_t microseconds(const timeval& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000U + static_cast<std::uint64_t>(time.tv_usec);
}

cpu_mark mark_cpu() {
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0)
        return {};
    return {true, microseconds(usage.ru_utime) + microseconds(usage.ru_stime), monotonic_us()};
}

std::string make_cpu_text() {
    const cpu_mark before = last_cpu_mark;
    last_cpu_mark = mark_cpu();
    double load = 0;
    if (!before.valid || !last_cpu_mark.valid || getloadavg(&load, 1) != 1)
        return "; cpu unknown";
    const auto elapsed = static_cast<double>(last_cpu_mark.at - before.at);
    const auto used = static_cast<double>(last_cpu_mark.used - before.used);
    return formatted("; cpu %.1f %% of one core, load %.2f", elapsed > 0 ? 100 * used / elapsed : 0, load);
}

const std::string& renewed(cached_text* cached, std::string (*make)()) {
    const std::uint64_t now = monotonic_us();
    if (cached->text.empty() || now - cached->made_at >= renewal_us) {
        cached->text = make();
        cached->made_at = now;
    }
    return cached->text;
}

} // namespace

const std::string& shm_status() {
    return renewed(&shm, make_shm_text);
}

const std::string& mem_status() {
    return renewed(&mem, make_mem_text);
}

const std::string& cpu_status() {
    return renewed(&cpu, make_cpu_text);
}

void init_zel_utils_cpu() {
    last_cpu_mark = mark_cpu();
}
