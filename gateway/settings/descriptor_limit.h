// The number of files and connections that this process may have open.
#pragma once

#include <cstddef>

namespace gateway {

// Raises it to `wanted` as far as the system lets us; returns what it is now. With less than
// descriptors_limit keep that many connections fewer.
std::size_t raise_descriptor_limit(std::size_t wanted);

} // namespace gateway
