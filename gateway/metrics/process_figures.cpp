#include "gateway/metrics/process_figures.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace gateway {

namespace {

std::optional<std::uint64_t> resident_bytes() {
    std::ifstream file("/proc/self/statm");
    std::uint64_t all_pages = 0, resident_pages = 0;
    if (!(file >> all_pages >> resident_pages))
        return std::nullopt;
    return resident_pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::optional<std::size_t> open_descriptors() {
    std::error_code error;
    std::size_t count = 0;
    for (auto each = std::filesystem::directory_iterator("/proc/self/fd", error);
         !error && each != std::filesystem::directory_iterator(); each.increment(error))
        count++;
    if (error || count == 0)
        return std::nullopt;
    return count - 1; // the one that lists them
}

} // namespace

process_figures figures_of_this_process() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return {resident_bytes(), open_descriptors(),
            static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9};
}

} // namespace gateway
