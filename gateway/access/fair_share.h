// How much of what all share one user may have.
#pragma once

#include <algorithm>
#include <cstddef>

namespace gateway {

// At most `most_for_one`, and at most as much as is still free: however many are greedy, the next one gets
// some.
constexpr std::size_t share_of(std::size_t most_for_one, std::size_t there_is, std::size_t in_use) {
    return std::min(most_for_one, there_is - std::min(there_is, in_use));
}

} // namespace gateway
