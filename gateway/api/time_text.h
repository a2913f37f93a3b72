// Points in time: read and written.
#pragma once

#include <cstdint>
#include <string>

namespace gateway {

std::int64_t seconds_since_1970();
std::uint64_t milliseconds_since_1970();
std::uint64_t steady_ms(); // never goes back

// "2024-02-29T12:00:00.250Z". For times that no calendar has: the beginning of 1970.
std::string rfc3339(std::uint64_t ms_since_1970);
std::string rfc3339_of_seconds(std::int64_t since_1970); // without the milliseconds

} // namespace gateway
