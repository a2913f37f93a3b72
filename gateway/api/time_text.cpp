#include "time_text.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace gateway {

namespace {

constexpr std::int64_t last_second = 253402300799; // of the year 9999

template<typename clock> std::uint64_t now_ms() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::now().time_since_epoch()).count());
}

std::string day_and_time(std::int64_t seconds) {
    const std::time_t time = seconds < 0 || seconds > last_second ? 0 : static_cast<std::time_t>(seconds);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    return text.data();
}

} // namespace

std::int64_t seconds_since_1970() {
    return static_cast<std::int64_t>(milliseconds_since_1970() / 1000);
}

std::uint64_t milliseconds_since_1970() {
    return now_ms<std::chrono::system_clock>();
}

std::uint64_t steady_ms() {
    return now_ms<std::chrono::steady_clock>();
}

std::string rfc3339(std::uint64_t ms_since_1970) {
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03uZ", static_cast<unsigned>(ms_since_1970 % 1000));
    return day_and_time(static_cast<std::int64_t>(ms_since_1970 / 1000)) + fraction.data();
}

std::string rfc3339_of_seconds(std::int64_t since_1970) {
    return day_and_time(since_1970) + "Z";
}

} // namespace gateway
