#include "concerns.h"

#include <bitset>
#include <set>
#include <utility>

namespace {

// Each place, and each connection as a negative number, with the numbers of the waiting batches.
std::set<std::pair<std::int64_t, std::uint64_t>> concerned;

// Calls `look` for each place that the batch concerns, and for each connection that it is for. A batch of
// several connections is in none of their queues, and must keep its order with all of their batches.
template<typename visit> void for_each_concern(const waiting_batch& batch, visit look) {
    if (batch.whose.connection != 0)
        look(-static_cast<std::int64_t>(batch.whose.connection));
    for (const batch_share& share : batch.shares)
        if (share.whose.connection != 0)
            look(-static_cast<std::int64_t>(share.whose.connection));
    if (batch.commands.empty()) {
        if (batch.place >= 0)
            look(batch.place);
        return;
    }
    std::bitset<max_outputs + 1> seen;
    for (const route_command& command : batch.commands) {
        const bool exists = command.output >= 0 && command.output < max_outputs;
        const std::int32_t place = exists ? command.output : place_beyond_outputs;
        if (seen.test(static_cast<std::size_t>(place)))
            continue;
        seen.set(static_cast<std::size_t>(place));
        look(place);
    }
}

} // namespace

void note_concerns(const waiting_batch& batch) {
    for_each_concern(batch, [&](std::int64_t concern) { concerned.insert({concern, batch.number}); });
}

void forget_concerns(const waiting_batch& batch) {
    for_each_concern(batch, [&](std::int64_t concern) { concerned.erase({concern, batch.number}); });
}

void forget_concern(const waiting_batch& batch, std::int32_t output) {
    concerned.erase({output, batch.number});
}

bool no_older_batch_concerns_the_same(const waiting_batch& batch) {
    bool first = true;
    for_each_concern(batch, [&](std::int64_t concern) {
        first = first && concerned.lower_bound({concern, 0})->second == batch.number;
    });
    return first;
}

void forget_all_concerns() {
    concerned.clear();
}
