#include "gateway/presets/recall_memory.h"

#include "gateway/settings/limits.h"

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

} // namespace gateway
