#include "take_callers.h"

#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {

std::uint64_t take_callers::begin(const std::string& router, const std::string& by, const take_caller& caller,
                                  const std::vector<vrdx::output_take>& takes) {
    if (open_ + takes.size() > history_callers_limit)
        return 0;
    order& added = orders_[++newest_];
    added.router = router;
    added.by = by;
    added.caller = caller;
    for (const vrdx::output_take& each : takes)
        added.takes.push_back({each, false, {}});
    open_ += takes.size();
    return newest_;
}

void take_callers::end(std::uint64_t number, const std::vector<vrdx::take_result>& results,
                       std::int64_t now_us) {
    // What was answered so long ago is no longer recorded by a driver that lives.
    while (!orders_.empty() && orders_.begin()->second.ended_us != 0 &&
           orders_.begin()->second.ended_us + static_cast<std::int64_t>(history_callers_time_us) < now_us)
        drop(orders_.begin());
    const auto found = orders_.find(number);
    if (found == orders_.end())
        return;
    found->second.ended_us = now_us;
    for (std::size_t at = 0; at < found->second.takes.size(); ++at) {
        vrdx::take_result& result = found->second.takes[at].result;
        if (at < results.size())
            result = results[at];
        else
            result = {vrdx::take_word::unknown, "the driver did not tell", {}};
    }
    drop_when_recorded(found);
}

void take_callers::forget(std::uint64_t number) {
    if (const auto found = orders_.find(number); found != orders_.end())
        drop(found);
}

void take_callers::withhold(std::uint64_t number, int output) {
    const auto found = orders_.find(number);
    if (found == orders_.end())
        return;
    auto& takes = found->second.takes;
    open_ -= std::erase_if(takes, [&](const sent_take& each) { return each.take.output == output; });
    if (takes.empty())
        drop(found);
}

take_caller take_callers::caller_of(const std::string& router, const vrdx::take_record& record) {
    const vrdx::output_take recorded{record.output, record.wanted};
    for (auto each = orders_.begin(); each != orders_.end(); ++each) {
        order& asked = each->second;
        if (asked.router != router || asked.by != record.by)
            continue;
        const auto take = std::find_if(asked.takes.begin(), asked.takes.end(), [&](const sent_take& sent) {
            return !sent.recorded && sent.take == recorded;
        });
        if (take == asked.takes.end())
            continue;
        take->recorded = true;
        take_caller caller = asked.caller;
        drop_when_recorded(each);
        return caller;
    }
    return {};
}

std::vector<history_entry> take_callers::left_over(const std::string& router) {
    std::vector<history_entry> entries;
    for (auto each = orders_.begin(); each != orders_.end();) {
        const auto asked = each++;
        const order& ended = asked->second;
        if (ended.router != router || ended.ended_us == 0)
            continue;
        for (const sent_take& sent : ended.takes) {
            if (sent.recorded)
                continue;
            history_entry entry;
            entry.time_us = ended.ended_us;
            entry.router = router;
            entry.output = sent.take.output;
            const vrdx::level_sources& wanted = sent.take.sources;
            const bool split = wanted.video != wanted.audio;
            entry.level = split ? "video,audio" : "all";
            entry.by = ended.by;
            entry.through = ended.caller.through;
            entry.address = ended.caller.address;
            entry.after = source_text(split, wanted.video, wanted.audio);
            entry.result = vrdx::take_word_text(sent.result.word);
            entry.reason = sent.result.text;
            entries.push_back(std::move(entry));
        }
        drop(asked);
    }
    return entries;
}

void take_callers::drop(std::map<std::uint64_t, order>::iterator each) {
    open_ -= each->second.takes.size();
    orders_.erase(each);
}

void take_callers::drop_when_recorded(std::map<std::uint64_t, order>::iterator each) {
    const order& asked = each->second;
    if (asked.ended_us != 0 && std::all_of(asked.takes.begin(), asked.takes.end(),
                                           [](const sent_take& sent) { return sent.recorded; }))
        drop(each);
}

} // namespace gateway
