#include "lock_table.h"

#include "access_store.h"
#include "database.h"
#include "gateway/settings/limits.h"
#include "lock_reason.h"
#include "rights.h"

namespace gateway {
namespace {

using kind = lock_answer::kind;

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
    return held;
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
        "SELECT router, output, state, owner, owner_name, reason, since FROM locks", {},
        [&](const sql_row& row) {
            table->locks_[row.text(0)][static_cast<int>(row.number(1))] = lock_of(row);
            ++table->count_;
        },
        problem);
    return was_read ? std::move(table) : nullptr;
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

lock_answer lock_table::set(std::string_view router, int output, lock_order order, const token& who,
                            std::string_view reason, std::int64_t now) {
    store_.kept().forget_busy();
    const std::string beyond =
        order == lock_order::force ? force_problem(who, router, output) : lock_problem(who, router, output);
    if (!beyond.empty())
        return {kind::not_allowed, beyond};
    const output_lock* const held = of(router, output);
    if (held != nullptr && held->owner_id != who.id && order != lock_order::force)
        return {kind::held, held_problem(*held, output)};
    if (order == lock_order::unlock || order == lock_order::force)
        return held == nullptr ? lock_answer{kind::unchanged, {}} : free(router, output);
    const std::string wrong = lock_reason_problem(reason);
    if (!wrong.empty())
        return {kind::wrong, wrong};
    output_lock wish;
    wish.state = order == lock_order::protect ? lock_state::protect : lock_state::lock;
    wish.owner_id = who.id;
    wish.owner = who.name;
    wish.reason = reason;
    wish.since = now;
    if (held != nullptr && held->state == wish.state && held->reason == wish.reason)
        return {kind::unchanged, {}};
    return keep(router, output, wish);
}

lock_answer lock_table::not_written(const std::string& problem) const {
    return {store_.kept().was_busy() ? kind::busy : kind::failed, problem};
}

lock_answer lock_table::free(std::string_view router, int output) {
    std::string problem;
    if (!store_.kept().change("DELETE FROM locks WHERE router = ? AND output = ?", {router, output},
                              &problem))
        return not_written(problem);
    const auto found = locks_.find(router);
    found->second.erase(output);
    if (found->second.empty())
        locks_.erase(found);
    --count_;
    return {kind::done, {}};
}

lock_answer lock_table::keep(std::string_view router, int output, const output_lock& wish) {
    const bool is_new = of(router, output) == nullptr;
    if (is_new && count_ >= locks_limit)
        return {kind::failed,
                "there are " + std::to_string(locks_limit) + " locks already; possible: unlock others"};
    std::string problem;
    if (!store_.kept().change(
            "INSERT OR REPLACE INTO locks (router, output, state, owner, owner_name, reason, "
            "since) VALUES (?, ?, ?, ?, ?, ?, ?)",
            {router, output, lock_word(wish.state), wish.owner_id, wish.owner, wish.reason, wish.since},
            &problem))
        return not_written(problem);
    locks_[std::string(router)][output] = wish;
    count_ += is_new ? 1 : 0;
    return {kind::done, {}};
}

} // namespace gateway
