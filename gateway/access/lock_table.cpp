#include "lock_table.h"

#include "access_store.h"
#include "database.h"
#include "gateway/settings/limits.h"
#include "lock_reason.h"
#include "rights.h"

#include <algorithm>

namespace gateway {
namespace {

using kind = lock_answer::kind;

constexpr std::size_t kept_at_once = 1024; // outputs; all wait for that

std::optional<lock_state> state_of_word(std::string_view word) {
    if (word == "protect")
        return lock_state::protect;
    return word == "lock" ? std::optional(lock_state::lock) : std::nullopt;
}

output_lock lock_of(const sql_row& row) {
    output_lock held;
    // A word that nobody of us wrote must not open the output.
    held.state = state_of_word(row.text(2)).value_or(lock_state::lock);
    held.owner_id = row.number(3);
    held.owner = row.text(4);
    held.reason = row.text(5);
    held.since = row.number(6);
    held.shown = {static_cast<int>(row.number(7)), static_cast<int>(row.number(8))};
    return held;
}

bool frees(lock_order order) {
    return order == lock_order::unlock || order == lock_order::force;
}

// Of an order that does not free.
lock_state state_of(lock_order order) {
    return order == lock_order::protect ? lock_state::protect : lock_state::lock;
}

std::string held_problem(const output_lock& held, int output) {
    return "output " + std::to_string(output) + " is " + lock_text(held) +
           "; possible: its owner unlocks it, or a token with the role lock forces it";
}

} // namespace

std::string_view lock_word(lock_state state) {
    return state == lock_state::protect ? "protect" : "lock";
}

std::optional<lock_order> lock_order_of_word(std::string_view word) {
    if (word == "lock")
        return lock_order::lock;
    if (word == "protect")
        return lock_order::protect;
    if (word == "unlock")
        return lock_order::unlock;
    return word == "force" ? std::optional(lock_order::force) : std::nullopt;
}

bool lock_lets_take(const output_lock& held, const token& who) {
    return held.state == lock_state::protect && held.owner_id == who.id;
}

std::string lock_text(const output_lock& held) {
    const std::string text =
        (held.state == lock_state::protect ? "protected by \"" : "locked by \"") + held.owner + "\"";
    return held.reason.empty() ? text : text + ": " + held.reason;
}

std::unique_ptr<lock_table> lock_table::open(access_store& store, std::string* problem) {
    std::unique_ptr<lock_table> table(new lock_table(store));
    const bool was_read = store.kept().read(
        "SELECT router, output, state, owner, owner_name, reason, since, video, audio FROM locks", {},
        [&](const sql_row& row) {
            table->locks_[row.text(0)][static_cast<int>(row.number(1))] = lock_of(row);
            ++table->count_;
        },
        problem);
    return was_read ? std::move(table) : nullptr;
}

output_lock* lock_table::place(std::string_view router, int output) {
    const auto held = locks_.find(router);
    if (held == locks_.end())
        return nullptr;
    const auto found = held->second.find(output);
    return found == held->second.end() ? nullptr : &found->second;
}

const output_lock* lock_table::of(std::string_view router, int output) const {
    const std::map<int, output_lock>* const held = of_router(router);
    if (held == nullptr)
        return nullptr;
    const auto found = held->find(output);
    return found == held->end() ? nullptr : &found->second;
}

const std::map<int, output_lock>* lock_table::of_router(std::string_view router) const {
    const auto found = locks_.find(router);
    return found == locks_.end() ? nullptr : &found->second;
}

// `done`: it would be a change.
lock_answer lock_table::judge(std::string_view router, const lock_wish& wish, const token& who,
                              std::string_view reason) const {
    const std::string beyond = wish.order == lock_order::force ? force_problem(who, router, wish.output)
                                                               : lock_problem(who, router, wish.output);
    if (!beyond.empty())
        return {kind::not_allowed, beyond};
    const output_lock* const held = of(router, wish.output);
    if (held != nullptr && held->owner_id != who.id && wish.order != lock_order::force)
        return {kind::held, held_problem(*held, wish.output)};
    if (frees(wish.order))
        return {held == nullptr ? kind::unchanged : kind::done, {}};
    const std::string wrong = lock_reason_problem(reason);
    if (!wrong.empty())
        return {kind::wrong, wrong};
    const bool is_so = held != nullptr && held->state == state_of(wish.order) && held->reason == reason;
    return {is_so ? kind::unchanged : kind::done, {}};
}

lock_answer lock_table::not_written(const std::string& problem) const {
    return {store_.kept().was_busy() ? kind::busy : kind::failed, problem};
}

lock_answer lock_table::set(std::string_view router, int output, lock_order order, const token& who,
                            std::string_view reason, std::int64_t now) {
    return set_all(router, {{output, order}}, who, reason, now);
}

lock_answer lock_table::set_all(std::string_view router, const std::vector<lock_wish>& wishes,
                                const token& who, std::string_view reason, std::int64_t now) {
    store_.kept().forget_busy();
    std::vector<lock_wish> changes;
    std::size_t added = 0;
    for (const lock_wish& wish : wishes) {
        lock_answer judged = judge(router, wish, who, reason);
        if (!judged.problem.empty())
            return judged;
        if (judged.result == kind::unchanged)
            continue;
        changes.push_back(wish);
        added += !frees(wish.order) && of(router, wish.output) == nullptr ? 1 : 0;
    }
    if (changes.empty())
        return {kind::unchanged, {}};
    if (added > 0 && count_ + added > locks_limit)
        return {kind::failed,
                "there are " + std::to_string(count_) + " locks already; possible: unlock others"};
    output_lock held;
    held.owner_id = who.id;
    held.owner = who.name;
    held.reason = reason;
    held.since = now;
    std::string problem;
    std::map<int, locked_sources> shown;
    for (const lock_wish& wish : changes) {
        if (frees(wish.order))
            continue;
        const output_lock* const before = of(router, wish.output);
        if (before != nullptr && before->shown != locked_sources())
            shown[wish.output] = before->shown; // a change that is under way stays one
        else if (find_shown_)
            shown[wish.output] = find_shown_(router, wish.output);
    }
    const auto write_all = [&] {
        return std::all_of(changes.begin(), changes.end(), [&](const lock_wish& wish) {
            held.shown = shown[wish.output];
            return write(router, wish, held, &problem);
        });
    };
    if (!store_.kept().transaction(write_all, &problem))
        return not_written(problem);
    auto& locks = locks_[std::string(router)];
    for (const lock_wish& wish : changes) {
        count_ -= locks.erase(wish.output);
        if (frees(wish.order))
            continue;
        held.state = state_of(wish.order);
        held.shown = shown[wish.output];
        locks.emplace(wish.output, held);
        ++count_;
    }
    if (locks.empty())
        locks_.erase(std::string(router));
    ++version_;
    const std::string name(router);
    for (const lock_wish& wish : changes)
        if (listener_)
            listener_(name, wish.output);
    return {kind::done, {}};
}

bool lock_table::write(std::string_view router, const lock_wish& wish, const output_lock& held,
                       std::string* problem) {
    if (frees(wish.order))
        return store_.kept().change("DELETE FROM locks WHERE router = ? AND output = ?",
                                    {router, wish.output}, problem);
    return store_.kept().change(
        "INSERT OR REPLACE INTO locks (router, output, state, owner, owner_name, reason, "
        "since, video, audio) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
        {router, wish.output, lock_word(state_of(wish.order)), held.owner_id, held.owner, held.reason,
         held.since, held.shown.video, held.shown.audio},
        problem);
}

void lock_table::note_shown(std::string_view router, int output, const locked_sources& now) {
    output_lock* const held = place(router, output);
    if (held == nullptr || held->shown == now)
        return;
    held->shown = now;
    unkept_.emplace(router, output);
}

void lock_table::keep_shown() {
    database& kept = store_.kept();
    if (unkept_.empty() || !kept.write_problem().empty())
        return; // the store looks whether it can be written again
    std::string problem;
    auto end = unkept_.begin();
    const auto steps = [&] {
        for (std::size_t written = 0; end != unkept_.end() && written < kept_at_once; ++end, ++written) {
            const output_lock* const held = of(end->first, end->second);
            if (held != nullptr &&
                !kept.change("UPDATE locks SET video = ?, audio = ? WHERE router = ? AND output = ?",
                             {held->shown.video, held->shown.audio, end->first, end->second}, &problem))
                return false;
        }
        return true;
    };
    if (kept.transaction(steps, &problem))
        unkept_.erase(unkept_.begin(), end);
}

} // namespace gateway
