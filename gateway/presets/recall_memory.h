// What outputs showed before presets were recalled: of the last recall of each preset, for a day. Known in
// memory; what has to be brought to the disk is told.
#pragma once

#include "gateway/presets/preset.h"

#include <cstdint>
#include <list>
#include <map>
#include <set>

namespace gateway {

struct remembered_recall {
    std::string preset;
    std::int64_t time = 0; // when it ended, seconds since 1970, UTC
    std::vector<preset_take> back;
};

class recall_memory {
public:
    // Takes that lead back. Those of an earlier recall of that preset are forgotten; of all presets the
    // oldest ones are, beyond preset_undo_takes_limit takes.
    void keep(remembered_recall recall);

    // Null: nothing is known. Valid until the next change.
    const remembered_recall* of(std::string_view preset) const;

    void forget(std::string_view preset);
    // Forgets what is older than preset_undo_time_s.
    void forget_old(std::int64_t now);

    // A recall of it is under way; the number is for end().
    std::uint64_t begin(const std::string& preset);
    // That recall has ended: kept, when there is something and the preset is still the one it was.
    void end(std::uint64_t recall, std::vector<preset_take> back, std::int64_t now);
    // The preset is no more, or another one: its recalls, also those under way, are forgotten. What is on the
    // disk went with the preset.
    void forget_replaced(std::string_view preset);

    std::size_t takes() const {
        return takes_;
    }

    // Presets of which the disk has something else.
    const std::set<std::string, std::less<>>& unwritten() const {
        return unwritten_;
    }
    // The disk has what is known of it.
    void written(const std::string& preset) {
        unwritten_.erase(preset);
    }

private:
    void drop(std::string_view preset);

    std::list<remembered_recall> entries_; // the oldest first
    std::map<std::string, std::list<remembered_recall>::iterator, std::less<>> places_;
    std::size_t takes_ = 0;
    std::map<std::uint64_t, std::string> under_way_; // presets, by the numbers of their recalls
    std::uint64_t newest_ = 0;
    std::set<std::string, std::less<>> unwritten_;
};

} // namespace gateway
