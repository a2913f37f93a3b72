#include "gateway/fronts/videohub/hub_history.h"

namespace gateway {
namespace {

history_entry entry_of(const std::string& router, const hub_asker& asker, entry_kind kind) {
    history_entry entry;
    entry.kind = kind;
    entry.router = router;
    entry.by = asker.who.name;
    entry.through = through_videohub;
    entry.address = asker.address;
    return entry;
}

} // namespace

void note_name(history_keeper& history, const std::string& router, const hub_asker& asker,
               const new_name& name, const std::string& before, const std::string& problem) {
    history_entry entry = entry_of(router, asker, entry_kind::name);
    (name.output ? entry.output : entry.input) = name.number;
    entry.before = before;
    entry.after = name.name;
    entry.reason = problem;
    entry.result = problem.empty() ? "handed on" : "unavailable";
    if (problem.empty())
        history.note(std::move(entry));
    else
        history.refused(std::move(entry));
}

std::string lock_words(const output_lock* held) {
    return held == nullptr ? "free" : std::string(lock_word(held->state)) + " of " + held->owner;
}

void note_lock(history_keeper& history, const std::string& router, const hub_asker& asker, int output,
               const std::string& before, const std::string& after) {
    history_entry entry = entry_of(router, asker, entry_kind::lock);
    entry.output = output;
    entry.before = before;
    entry.after = after;
    entry.result = "done";
    history.note(std::move(entry));
}

void note_refusal(history_keeper& history, const std::string& router, const hub_asker& asker, entry_kind kind,
                  const std::string& problem) {
    history_entry entry = entry_of(router, asker, kind);
    entry.result = "refused";
    entry.reason = problem;
    history.refused(std::move(entry));
}

} // namespace gateway
