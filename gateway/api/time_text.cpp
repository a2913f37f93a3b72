#include "time_text.h"

#include "plain_text.h"

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

std::string rfc3339_of_microseconds(std::int64_t us_since_1970) {
    constexpr std::int64_t million = 1000000;
    std::array<char, 16> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%06dZ",
                  static_cast<int>(us_since_1970 < 0 ? 0 : us_since_1970 % million));
    return day_and_time(us_since_1970 / million) + fraction.data();
}

std::optional<std::int64_t> microseconds_of_rfc3339(std::string_view text) {
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
    const auto is_of_form = [&](std::size_t at) {
        return form[at] == 'd' ? is_digit(text[at]) : text[at] == form[at];
    };
    if (text.size() <= form.size())
        return {};
    for (std::size_t at = 0; at < form.size(); ++at)
        if (!is_of_form(at))
            return {};
    const auto part = [&](std::size_t at, std::size_t digits) {
        return number_of_digits<int>(text.substr(at, digits)).value_or(-1);
    };
    const std::chrono::year_month_day day{std::chrono::year{part(0, 4)},
                                          std::chrono::month{static_cast<unsigned>(part(5, 2))},
                                          std::chrono::day{static_cast<unsigned>(part(8, 2))}};
    const int hour = part(11, 2), minute = part(14, 2), second = part(17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 60)
        return {};
    std::string_view rest = text.substr(form.size());
    std::int64_t us = 0;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        std::int64_t worth = 100000;
        std::size_t digits = 0;
        for (; digits < rest.size() && is_digit(rest[digits]); ++digits, worth /= 10)
            us += worth * (rest[digits] - '0');
        if (digits == 0)
            return {};
        rest.remove_prefix(digits);
    }
    std::int64_t ahead_minutes = 0;
    if (rest != "Z") {
        const bool has_form = rest.size() == 6 && (rest[0] == '+' || rest[0] == '-') && rest[3] == ':';
        const auto hours = number_of_digits<int>(has_form ? rest.substr(1, 2) : "");
        const auto minutes = number_of_digits<int>(has_form ? rest.substr(4, 2) : "");
        if (!hours || !minutes || *hours > 23 || *minutes > 59)
            return {};
        ahead_minutes = (*hours * 60 + *minutes) * (rest[0] == '-' ? -1 : 1);
    }
    const std::int64_t days = std::chrono::sys_days(day).time_since_epoch().count();
    const std::int64_t seconds = ((days * 24 + hour) * 60 + minute - ahead_minutes) * 60 + second;
    return seconds * 1000000 + us;
}

std::string rfc3339_of_seconds(std::int64_t since_1970) {
    return day_and_time(since_1970) + "Z";
}

} // namespace gateway
