#include "write_rates.h"

#include "gateway/settings/limits.h"

namespace gateway {

std::uint64_t write_rates::ask(std::int64_t token_id, std::uint64_t now_ms) {
    constexpr std::uint64_t all_used_ms = writes_at_once_per_token * write_refill_ms;
    if (whole_at_ms_.size() > tokens_limit) // those of tokens that were removed, too, are over soon
        std::erase_if(whole_at_ms_, [now_ms](const auto& each) { return each.second <= now_ms; });
    std::uint64_t& whole_at_ms = whole_at_ms_[token_id];
    const std::uint64_t used_ms = whole_at_ms > now_ms ? whole_at_ms - now_ms : 0;
    if (used_ms + write_refill_ms > all_used_ms)
        return used_ms + write_refill_ms - all_used_ms;
    whole_at_ms = now_ms + used_ms + write_refill_ms;
    return 0;
}

} // namespace gateway
