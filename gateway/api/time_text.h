// Points in time: read and written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace gateway {

std::int64_t seconds_since_1970();
std::uint64_t milliseconds_since_1970();
std::uint64_t steady_ms(); // never goes back

// "2024-02-29T12:00:00.250Z". For times that no calendar has: the beginning of 1970.
std::string rfc3339(std::uint64_t ms_since_1970);
std::string rfc3339_of_seconds(std::int64_t since_1970);         // without the milliseconds
std::string rfc3339_of_microseconds(std::int64_t us_since_1970); // six digits behind the seconds

// "2024-02-29T12:00:00Z", also with up to six digits behind the seconds, and with "+01:00" instead of "Z".
// Microseconds since 1970; nothing for any other text.
std::optional<std::int64_t> microseconds_of_rfc3339(std::string_view text);

} // namespace gateway
