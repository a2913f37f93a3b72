// The reason of a lock: a line that people write for people.
#pragma once

#include <string>
#include <string_view>

namespace gateway {

// Why that is no reason, as a sentence that says what is possible; empty when it is one. "" is allowed, too.
std::string lock_reason_problem(std::string_view reason);

} // namespace gateway
