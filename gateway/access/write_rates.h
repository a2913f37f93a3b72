// How often a token may have something written to the disk: each write is awaited by all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace gateway {

class write_rates {
public:
    // Counts a write of the token: 0. Or counts nothing and says after how many milliseconds the next one is
    // possible: writes_at_once_per_token are, and one more after each write_refill_ms. `now_ms` never goes
    // back.
    std::uint64_t ask(std::int64_t token_id, std::uint64_t now_ms);

    std::size_t size() const {
        return whole_at_ms_.size();
    }

private:
    std::unordered_map<std::int64_t, std::uint64_t> whole_at_ms_; // when all of them are there again
};

} // namespace gateway
