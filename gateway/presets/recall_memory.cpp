#include "gateway/presets/recall_memory.h"

#include "gateway/settings/limits.h"

#include <utility>

namespace gateway {

void recall_memory::keep(const std::string& preset, std::vector<preset_take> back) {
    forget(preset);
    takes_ += back.size();
    entries_.push_back({preset, std::move(back)});
    places_[preset] = std::prev(entries_.end());
    while (takes_ > preset_undo_takes_limit)
        forget(std::string(entries_.front().preset));
}

const std::vector<preset_take>* recall_memory::of(std::string_view preset) const {
    const auto found = places_.find(preset);
    return found == places_.end() ? nullptr : &found->second->back;
}

void recall_memory::forget(std::string_view preset) {
    const auto found = places_.find(preset);
    if (found == places_.end())
        return;
    takes_ -= found->second->back.size();
    entries_.erase(found->second);
    places_.erase(found);
}

std::uint64_t recall_memory::begin(const std::string& preset) {
    under_way_[++newest_] = preset;
    return newest_;
}

void recall_memory::end(std::uint64_t recall, std::vector<preset_take> back) {
    const auto found = under_way_.find(recall);
    if (found == under_way_.end())
        return;
    const std::string preset = std::move(found->second);
    under_way_.erase(found);
    if (!back.empty())
        keep(preset, std::move(back));
}

void recall_memory::forget_replaced(std::string_view preset) {
    forget(preset);
    std::erase_if(under_way_, [preset](const auto& each) { return each.second == preset; });
}

} // namespace gateway
