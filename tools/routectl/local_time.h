// Times for people.
#pragma once

#include <cstdint>
#include <string>

// The time of day with milliseconds and the zone: "2026-03-01T12:00:00.250+0100". `time_ms` counts from 1970.
std::string local_time(std::uint64_t time_ms);

// Milliseconds since 1970.
std::uint64_t time_now_ms();

// "12 s", "5 min", "3 h", "2 d": how long, in the largest unit that is not 0.
std::string duration_text(std::uint64_t milliseconds);
