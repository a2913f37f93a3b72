#include "awaited_takes.h"

#include <algorithm>
#include <limits>

void await_take(awaited_takes& awaited, int output, int level, int source, std::uint64_t deadline) {
    awaited_output& wait = awaited[output];
    wait.deadline = deadline;
    wait.refused = false;
    wait.wanted[level] = source;
}

bool note_shown(awaited_takes& awaited, int output, int level, std::optional<int> source) {
    const auto entry = awaited.find(output);
    if (entry == awaited.end()) {
        return false;
    }
    awaited_output& wait = entry->second;
    wait.seen = true;
    const auto wanted = wait.wanted.find(level);
    if (wanted != wait.wanted.end() && (!source || *source == wanted->second)) {
        wait.wanted.erase(wanted);
    }
    if (!wait.wanted.empty() && !wait.refused) {
        return false;
    }
    awaited.erase(entry);
    return true;
}

bool is_awaited(const awaited_takes& awaited, int output, int level, int source) {
    const auto entry = awaited.find(output);
    if (entry == awaited.end()) {
        return false;
    }
    const auto wanted = entry->second.wanted.find(level);
    return wanted != entry->second.wanted.end() && wanted->second == source;
}

expired_takes expire_awaited(awaited_takes& awaited, std::uint64_t now) {
    expired_takes expired;
    for (const auto& [output, wait] : awaited) {
        if (wait.deadline <= now) {
            (wait.seen ? expired.contradicted : expired.silent).insert(output);
        }
    }
    std::erase_if(awaited, [now](const auto& entry) { return entry.second.deadline <= now; });
    return expired;
}

std::uint64_t next_awaited_deadline(const awaited_takes& awaited) {
    std::uint64_t next = std::numeric_limits<std::uint64_t>::max();
    for (const auto& [output, wait] : awaited) {
        next = std::min(next, wait.deadline);
    }
    return next;
}
