#include "local_time.h"

#include <array>
#include <cstdio>
#include <ctime>

std::string local_time(std::uint64_t time_ms) {
    const auto seconds = static_cast<std::time_t>(time_ms / 1000);
    tm local{};
    if (localtime_r(&seconds, &local) == nullptr)
        return "?"; // a year that no calendar has
    std::array<char, 64> day{};
    std::array<char, 16> zone{};
    std::array<char, 96> text{};
    std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    std::snprintf(text.data(), text.size(), "%s.%03u%s", day.data(), static_cast<unsigned>(time_ms % 1000),
                  zone.data());
    return text.data();
}

std::uint64_t time_now_ms() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

std::string duration_text(std::uint64_t milliseconds) {
    const std::uint64_t seconds = milliseconds / 1000;
    if (seconds < 60)
        return std::to_string(seconds) + " s";
    if (seconds < 3600)
        return std::to_string(seconds / 60) + " min";
    if (seconds < 86400)
        return std::to_string(seconds / 3600) + " h";
    return std::to_string(seconds / 86400) + " d";
}
