#include "gateway/presets/recall_memory.h"

#include "gateway/settings/limits.h"

#include <utility>

namespace gateway {

void recall_memory::keep(remembered_recall recall) {
    drop(recall.preset);
    takes_ += recall.back.size();
    entries_.push_back(std::move(recall));
    const std::string& preset = entries_.back().preset;
    places_[preset] = std::prev(entries_.end());
    unwritten_.insert(preset);
    while (takes_ > preset_undo_takes_limit)
        forget(std::string(entries_.front().preset));
}

const remembered_recall* recall_memory::of(std::string_view preset) const {
    const auto found = places_.find(preset);
    return found == places_.end() ? nullptr : &*found->second;
}

void recall_memory::drop(std::string_view preset) {
    const auto found = places_.find(preset);
    if (found == places_.end())
        return;
    takes_ -= found->second->back.size();
    entries_.erase(found->second);
    places_.erase(found);
}

void recall_memory::forget(std::string_view preset) {
    if (of(preset) == nullptr)
        return;
    unwritten_.emplace(preset);
    drop(preset);
}

// Not in the order of their times when the clock was set.
void recall_memory::forget_old(std::int64_t now) {
    std::vector<std::string> old;
    for (const remembered_recall& each : entries_)
        if (now - each.time >= preset_undo_time_s)
            old.push_back(each.preset);
    for (const std::string& preset : old)
        forget(preset);
}

std::uint64_t recall_memory::begin(const std::string& preset) {
    under_way_[++newest_] = preset;
    return newest_;
}

void recall_memory::end(std::uint64_t recall, std::vector<preset_take> back, std::int64_t now) {
    const auto found = under_way_.find(recall);
    if (found == under_way_.end())
        return;
    std::string preset = std::move(found->second);
    under_way_.erase(found);
    if (!back.empty())
        keep({std::move(preset), now, std::move(back)});
}

void recall_memory::forget_replaced(std::string_view preset) {
    drop(preset);
    if (const auto found = unwritten_.find(preset); found != unwritten_.end())
        unwritten_.erase(found);
    std::erase_if(under_way_, [preset](const auto& each) { return each.second == preset; });
}

} // namespace gateway
