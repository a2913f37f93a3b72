#include "refusal_counter.h"

#include "gateway/settings/limits.h"

#include <utility>

namespace gateway {

namespace {

constexpr std::int64_t minute_us = 60000000;

std::string key_of(std::int64_t minute, const history_entry& entry) {
    std::string key = std::to_string(minute) + ' ' + entry_kind_word(entry.kind);
    for (const std::string* text : {&entry.router, &entry.by, &entry.address, &entry.result, &entry.reason,
                                    &entry.before, &entry.after})
        key += ' ' + std::to_string(text->size()) + ':' + *text; // no two lists of texts are one key
    return key + ' ' + std::to_string(entry.output) + ' ' + std::to_string(entry.input);
}

// What is left of one that is not told apart any more.
history_entry further(const history_entry& entry) {
    history_entry rest;
    rest.time_us = entry.time_us;
    rest.kind = entry.kind == entry_kind::login ? entry_kind::login : entry_kind::request;
    rest.result = "refused";
    rest.reason = "further ones of this minute, which are not told apart";
    return rest;
}

} // namespace

void refusal_counter::add(history_entry entry) {
    const bool is_login = entry.kind == entry_kind::login;
    const std::int64_t minute = entry.time_us / minute_us;
    if (minute != minute_) {
        std::vector<counted_entry> rest = take();
        earlier_ = std::move(rest);
        counts_.clear();
        kinds_[0] = kinds_[1] = 0;
        minute_ = minute;
    }
    std::string key = key_of(minute, entry);
    auto found = counts_.find(key);
    const std::size_t most = is_login ? history_login_kinds_limit : history_refusal_kinds_limit;
    if (found == counts_.end() && kinds_[is_login ? 1 : 0] >= most) {
        entry = further(entry);
        key = key_of(minute, entry);
        found = counts_.find(key);
    } else if (found == counts_.end()) {
        ++kinds_[is_login ? 1 : 0];
    }
    if (found == counts_.end()) {
        entry.count = 0;
        found = counts_.emplace(key, counted_entry{key, entry, is_login}).first;
    }
    found->second.entry.count++;
    found->second.entry.until_us = entry.time_us;
}

std::vector<counted_entry> refusal_counter::take() {
    std::vector<counted_entry> taken = std::exchange(earlier_, {});
    for (auto& [key, counted] : counts_)
        if (counted.entry.count > 0) {
            taken.push_back(counted);
            counted.entry.count = 0;
        }
    return taken;
}

} // namespace gateway
