// Which outputs are locked otherwise than before.
#pragma once

#include "site_messages.h"

namespace gateway {

// Outputs from 1, ascending.
inline std::vector<int> lock_changes(const output_locks& before, const output_locks& now) {
    std::map<int, bool> changed;
    const auto note = [&](const output_locks& these, const output_locks& others) {
        for (const auto& [output, lock] : these) {
            const auto other = others.find(output);
            if (other == others.end() || !(other->second == lock))
                changed[output] = true;
        }
    };
    note(before, now);
    note(now, before);
    std::vector<int> outputs;
    outputs.reserve(changed.size());
    for (const auto& each : changed)
        outputs.push_back(each.first);
    return outputs;
}

} // namespace gateway
