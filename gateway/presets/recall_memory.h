// What outputs showed before presets were recalled: of the last recall of each preset, in memory alone.
#pragma once

#include "gateway/presets/preset.h"

#include <cstdint>
#include <list>
#include <map>

namespace gateway {

class recall_memory {
public:
    // Takes that lead back. Those of an earlier recall of that preset are forgotten; of all presets the
    // oldest ones are, beyond preset_undo_takes_limit takes.
    void keep(const std::string& preset, std::vector<preset_take> back);

    // Null: nothing is known. Valid until the next change.
    const std::vector<preset_take>* of(std::string_view preset) const;

    void forget(std::string_view preset);

    // A recall of it is under way; the number is for end().
    std::uint64_t begin(const std::string& preset);
    // That recall has ended: kept, when there is something and the preset is still the one it was.
    void end(std::uint64_t recall, std::vector<preset_take> back);
    // The preset is no more, or another one: its recalls, also those under way, are forgotten.
    void forget_replaced(std::string_view preset);

    std::size_t takes() const {
        return takes_;
    }

private:
    struct entry {
        std::string preset;
        std::vector<preset_take> back;
    };
    std::list<entry> entries_; // the oldest first
    std::map<std::string, std::list<entry>::iterator, std::less<>> places_;
    std::size_t takes_ = 0;
    std::map<std::uint64_t, std::string> under_way_; // presets, by the numbers of their recalls
    std::uint64_t newest_ = 0;
};

} // namespace gateway
