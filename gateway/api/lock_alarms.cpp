#include "lock_alarms.h"

#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {

namespace {

// One level: what is shown from now on. True when it has changed from one known source to another.
bool note_level(int* before, int now) {
    if (now == vrdx::source_unknown || *before == now)
        return false;
    const bool known = *before != vrdx::source_unknown;
    *before = now;
    return known;
}

vrdx::level_sources sources_of(const locked_sources& kept) {
    vrdx::level_sources sources;
    sources.video = kept.video;
    sources.audio = kept.audio;
    return sources;
}

} // namespace

std::vector<lock_alarm> lock_alarms::of(const shown_router& router, const router_locks* locks,
                                        std::uint64_t now_ms) {
    std::vector<lock_alarm> alarms;
    if (locks == nullptr || locks->empty() || !is_picture_true(router.state)) {
        if (locks == nullptr || locks->empty())
            routers_.erase(router.name);
        return alarms;
    }
    auto& outputs = routers_[router.name];
    std::erase_if(outputs, [&](const auto& each) { return !locks->contains(each.first); });
    for (const auto& [number, lock] : *locks) {
        if (static_cast<std::size_t>(number) > router.picture.outputs.size())
            continue;
        const vrdx::picture_output& output = router.picture.outputs[static_cast<std::size_t>(number - 1)];
        if (output.waits_ms)
            continue; // not confirmed; it may fall back
        const auto [place, is_new] = outputs.try_emplace(number);
        watched& known = place->second;
        if (is_new)
            known.shown = sources_of(lock.shown);
        const vrdx::level_sources before = known.shown;
        const bool video = note_level(&known.shown.video, output.sources.video);
        const bool audio = note_level(&known.shown.audio, output.sources.audio);
        if ((video || audio) && !is_allowed(router.name, number, known.shown, now_ms))
            alarms.push_back({number, before, known.shown, is_new});
        const locked_sources now{known.shown.video, known.shown.audio};
        if (keep_ && now != lock.shown)
            keep_(router.name, number, now);
    }
    return alarms;
}

bool lock_alarms::is_allowed(const std::string& router, int output, const vrdx::level_sources& now,
                             std::uint64_t now_ms) const {
    const auto found = allowed_.find({router, output});
    return found != allowed_.end() && now_ms < found->second.until_ms && now == found->second.sources;
}

void lock_alarms::lock_changed(const shown_router& router, int output, bool is_locked) {
    auto& outputs = routers_[router.name];
    if (!is_locked) {
        outputs.erase(output);
        return;
    }
    if (outputs.contains(output) || static_cast<std::size_t>(output) > router.picture.outputs.size())
        return;
    const auto& shown = router.picture.outputs[static_cast<std::size_t>(output - 1)];
    if (!shown.waits_ms) // else what it shows is noted with the next news at the latest
        outputs[output].shown = shown.sources;
}

void lock_alarms::takes_begin(const std::string& router, const std::vector<vrdx::output_take>& takes,
                              std::uint64_t now_ms) {
    for (const vrdx::output_take& take : takes) {
        const allowance given{take.sources, now_ms + allowed_change_ms};
        allowed_.insert_or_assign({router, take.output}, given);
        allowed_order_.push_back({{router, take.output}, given.until_ms});
    }
    while (!allowed_order_.empty() &&
           (allowed_order_.front().until_ms <= now_ms || allowed_order_.size() > allowed_limit)) {
        const auto oldest = allowed_.find(allowed_order_.front().place);
        if (oldest != allowed_.end() && oldest->second.until_ms == allowed_order_.front().until_ms)
            allowed_.erase(oldest);
        allowed_order_.pop_front();
    }
}

} // namespace gateway
