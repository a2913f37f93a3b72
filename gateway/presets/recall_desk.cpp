#include "gateway/presets/recall_desk.h"

#include <algorithm>

namespace gateway {

namespace {

// Nothing of it happened, and nothing will.
bool was_not_done(const output_answer& answer) {
    constexpr const char* words[] = {"refused", "withdrawn", "replaced unsent", "locked", "unavailable"};
    return std::any_of(std::begin(words), std::end(words),
                       [&answer](const char* word) { return answer.result == word; });
}

bool is_known(const std::optional<vrdx::level_sources>& sources) {
    return sources && sources->video != vrdx::source_unknown && sources->audio != vrdx::source_unknown;
}

// The takes that lead back to what was shown before.
std::vector<preset_take> way_back(const recall_answer& answer) {
    std::vector<preset_take> back;
    for (const recalled_output& each : answer.outputs) {
        if (was_not_done(each.answer) || !is_known(each.shown) || !is_known(each.wanted) ||
            *each.shown == *each.wanted)
            continue;
        output_wish wish{each.answer.output, each.shown->video, each.shown->audio};
        wish.only_if = each.wanted;
        back.push_back({each.router, wish});
    }
    return back;
}

} // namespace

bool recall_desk::remember(std::string* problem) {
    return store_.read(&memory_, problem);
}

// What was shown is noted by the look, and goes through the answer of the takes unchanged. From the first
// take on the way back of the recall before is wrong, also after a kill; it holds again when nothing has
// changed.
void recall_desk::recall(const preset& wanted, const take_asker& asker, const recall_wish& wish,
                         const recall_done& done) {
    const std::string& name = wanted.row.name;
    std::optional<remembered_recall> before;
    if (const remembered_recall* const known = memory_.of(name);
        known != nullptr && !way_back(look(wanted, asker.who, wish)).empty()) {
        before = *known;
        memory_.forget(name);
        write(); // a disk that refuses holds no take up
    }
    run_recall(routers_, takes_, wanted.takes, asker, wish,
               [this, name, before, recall = memory_.begin(name), done](const recall_answer& answer) {
                   std::vector<preset_take> back = way_back(answer);
                   if (back.empty() && before && memory_.of(name) == nullptr)
                       memory_.end(recall, before->back, before->time);
                   else
                       memory_.end(recall, std::move(back), now_());
                   done(answer);
               });
}

bool recall_desk::undo(const std::string& preset, const take_asker& asker, const recall_wish& wish,
                       const recall_done& done) {
    memory_.forget_old(now_());
    const remembered_recall* const known = memory_.of(preset);
    if (known == nullptr)
        return false;
    const std::vector<preset_take> back = known->back;
    const recall_answer look = look_at_recall(routers_, takes_, back, asker.who, wish);
    const bool sends = std::any_of(look.outputs.begin(), look.outputs.end(),
                                   [](const recalled_output& each) { return each.answer.result.empty(); });
    if (sends) {
        memory_.forget(preset);
        // A disk that refuses holds no take up. Were it undone once more after a start, what has changed
        // since would stay.
        write();
    }
    run_recall(routers_, takes_, back, asker, wish, done);
    return true;
}

std::size_t recall_desk::undo_takes(std::string_view preset) {
    memory_.forget_old(now_());
    const remembered_recall* const known = memory_.of(preset);
    return known == nullptr ? 0 : known->back.size();
}

bool recall_desk::write() {
    memory_.forget_old(now_());
    return store_.write(&memory_) || !store_.is_busy();
}

} // namespace gateway
