// Who a user number is. A name service may be slow: for the history's own thread alone.
#pragma once

#include <cstdint>
#include <string>

namespace gateway {

// The user's name, or "user 1000" when there is none. Remembered for a minute, of up to 256 users.
std::string user_name(std::int64_t user);

} // namespace gateway
