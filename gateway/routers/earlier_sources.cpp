#include "gateway/routers/earlier_sources.h"

#include <map>

namespace gateway {

namespace {

bool is_known(const vrdx::level_sources& sources) {
    return sources.audio != vrdx::source_unknown && sources.video != vrdx::source_unknown;
}

// Of a router that switches all levels together, one known level tells both.
vrdx::level_sources of_all_levels(bool split_levels, vrdx::level_sources sources) {
    if (!split_levels)
        sources.audio = sources.video = sources.video != vrdx::source_unknown ? sources.video : sources.audio;
    return sources;
}

std::size_t index_of(int output) {
    return static_cast<std::size_t>(output - 1);
}

} // namespace

void earlier_sources::note(const vrdx::router_picture& picture, int output) {
    places_.resize(picture.outputs.size());
    const vrdx::picture_output& shown = picture.outputs[index_of(output)];
    if (!shown.waits_ms)
        places_[index_of(output)].told = shown.sources;
    const vrdx::level_sources now = of_all_levels(picture.split_levels, shown.sources);
    if (shown.waits_ms || !is_known(now))
        return;
    place& known = places_[index_of(output)];
    if (is_known(known.confirmed) && known.confirmed != now)
        known.before = known.confirmed;
    known.confirmed = now;
}

void earlier_sources::note_anew(const vrdx::router_picture& picture) {
    places_.resize(picture.outputs.size());
    for (int output = 1; output <= static_cast<int>(picture.outputs.size()); ++output) {
        places_[index_of(output)].told.reset();
        note(picture, output);
    }
}

std::vector<int> earlier_sources::enter(const vrdx::router_picture& picture,
                                        const std::vector<vrdx::take_record>& records) {
    places_.resize(picture.outputs.size());
    struct change {
        vrdx::level_sources before, after;
    };
    std::map<int, change> last;
    for (const vrdx::take_record& each : records) {
        const bool split = picture.split_levels || each.split_levels;
        const change told{of_all_levels(split, each.before), of_all_levels(split, each.wanted)};
        const bool is_there = each.output >= 1 && index_of(each.output) < places_.size();
        if (is_there && each.result.word == vrdx::take_word::confirmed && is_known(told.before) &&
            is_known(told.after) && told.before != told.after)
            last[each.output] = told;
    }
    std::vector<int> entered;
    for (const auto& [output, told] : last) {
        place& known = places_[index_of(output)];
        if (is_known(known.before))
            continue; // newer than the record
        // Who switched it without a take did so after the last one.
        const bool switched_since = is_known(known.confirmed) && known.confirmed != told.after;
        known.before = switched_since ? told.after : told.before;
        entered.push_back(output);
    }
    return entered;
}

std::optional<vrdx::level_sources> earlier_sources::of(int output) const {
    if (output < 1 || index_of(output) >= places_.size() || !is_known(places_[index_of(output)].before))
        return std::nullopt;
    return places_[index_of(output)].before;
}

std::optional<vrdx::level_sources> earlier_sources::confirmed(int output) const {
    return output < 1 || index_of(output) >= places_.size() ? std::nullopt : places_[index_of(output)].told;
}

} // namespace gateway
