// Refusals, counted together: who is refused a thousand times in a minute fills one line of the history.
#pragma once

#include "history_entry.h"

#include <cstddef>
#include <map>
#include <vector>

namespace gateway {

class refusal_counter {
public:
    // Equal entries (but for their times and counts) of one minute are one. Of a minute
    // history_login_kinds_limit and history_refusal_kinds_limit are told apart; further ones are one entry,
    // without address, router and output. `entry.time_us` is set.
    void add(history_entry entry);

    // What has been counted since the last call.
    std::vector<counted_entry> take();

private:
    std::map<std::string, counted_entry> counts_; // of this minute, by key; count 0: told already
    std::int64_t minute_ = 0;
    std::vector<counted_entry> earlier_; // of the minute before, not written yet
    std::size_t kinds_[2] = {0, 0};      // of this minute: others, logins
};

} // namespace gateway
