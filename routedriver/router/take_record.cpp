#include "take_record.h"

#include "monotonic_us.h"

#include <array>
#include <chrono>
#include <utility>
#include <vector>

namespace {

std::deque<decided_take> record;
std::uint64_t last_record = 0;
std::vector<void (*)(const decided_take&)> listeners;

constexpr std::uint64_t minute_us = 60000000;
constexpr std::size_t minutes_kept = 60;

// One minute's counts; which minute tells whether they still count.
struct minute_counts {
    std::uint64_t minute = 0;
    std::array<std::uint64_t, counted_kinds> counts{};
};
std::array<minute_counts, minutes_kept> minutes;
std::array<std::uint64_t, counted_kinds> totals{};

std::string told_source(std::int32_t source, bool known) {
    return known ? std::to_string(std::int64_t{source} + 1) : "unknown";
}

std::uint64_t wall_clock_ms() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void count_result(take_result result) {
    if (result == take_result::confirmed)
        count_event(counted::confirmed);
    else if (result == take_result::refused)
        count_event(counted::refused);
    else if (result == take_result::unknown)
        count_event(counted::unknown);
}

} // namespace

const std::deque<decided_take>& take_record = record;
const std::uint64_t& last_take_record = last_record;

std::string_view take_result_word(take_result result) {
    constexpr std::string_view words[] = {"confirmed", "shows",     "refused",
                                          "replaced",  "withdrawn", "unknown"};
    return words[static_cast<std::size_t>(result)];
}

told_sources told_sources_of(const router_output& output) {
    return {{output.audio_input, output.video_input}, output.audio_known, output.video_known};
}

std::string told_text(const told_sources& told) {
    return told_source(told.sources.audio, told.audio_known) + "," +
           told_source(told.sources.video, told.video_known);
}

std::string told_text(requester whose, std::string_view by) {
    std::string text = std::to_string(whose.user) + " " + std::to_string(whose.process);
    if (!by.empty())
        text.append(1, ' ').append(by);
    return text;
}

void record_take(decided_take take) {
    take.record = ++last_record;
    take.wall_ms = wall_clock_ms();
    count_result(take.result);
    record.push_back(std::move(take));
    for (const auto hear : listeners)
        hear(record.back());
    if (record.size() > takes_in_record)
        record.pop_front();
}

void watch_takes(void (*hear)(const decided_take& take)) {
    listeners.push_back(hear);
}

void count_event(counted what) {
    const std::uint64_t minute = monotonic_us() / minute_us;
    minute_counts& current = minutes[minute % minutes_kept];
    if (current.minute != minute)
        current = {minute, {}};
    ++current.counts[static_cast<std::size_t>(what)];
    ++totals[static_cast<std::size_t>(what)];
}

std::uint64_t counted_since_start(counted what) {
    return totals[static_cast<std::size_t>(what)];
}

std::uint64_t counted_in_last_hour(counted what) {
    const std::uint64_t minute = monotonic_us() / minute_us;
    std::uint64_t sum = 0;
    for (const minute_counts& one : minutes)
        if (one.minute + minutes_kept > minute)
            sum += one.counts[static_cast<std::size_t>(what)];
    return sum;
}
