// The sessions of the store: a secret of their own for a browser, so that the token itself is in no cookie.
#include "access_store.h"

#include "gateway/settings/limits.h"
#include "known_access.h"
#include "secret.h"

#include <algorithm>

namespace gateway {
namespace {

// Null when there is none.
std::shared_ptr<const token> known_token(const known_access& known, std::int64_t id) {
    const auto found = std::find_if(known.tokens.begin(), known.tokens.end(),
                                    [id](const auto& one) { return one.second->id == id; });
    return found == known.tokens.end() ? nullptr : found->second;
}

// Of its full time.
bool has_lost_a_day(const session_entry& one, std::int64_t now) {
    return one.until <= now + kept_session_s - kept_session_renewal_s;
}

// How many sessions the token has, and the hash of the oldest of them.
std::size_t sessions_of(const known_access& known, std::int64_t token_id, std::string* oldest) {
    std::size_t count = 0;
    for (const auto& [hash, one] : known.sessions)
        if (one.owner->id == token_id) {
            ++count;
            if (oldest->empty() || one.id < known.sessions.at(*oldest).id)
                *oldest = hash;
        }
    return count;
}

} // namespace

known_session access_store::of_session(std::string_view text, std::int64_t now) const {
    if (text.size() != secret_text_size)
        return {};
    const auto found = known_->sessions.find(hash_of(text));
    if (found == known_->sessions.end() || found->second.until <= now)
        return {};
    // Longer than any may last: its begin or `now` is of a clock that was wrong. It ends no sooner for that.
    if (found->second.until > now + kept_session_s + clock_back_s)
        return {};
    if (found->second.kept && has_lost_a_day(found->second, now))
        known_->used.insert(found->first);
    return {found->second.id, found->second.owner, found->second.kept};
}

std::optional<session_grant> access_store::begin_session(const token& owner, bool kept, std::int64_t now,
                                                         std::string* problem) {
    known_->kept->forget_busy();
    const std::string gone = "a session needs a token; possible: one that `token list` shows";
    const std::shared_ptr<const token> known_owner = known_token(*known_, owner.id);
    if (!known_owner) {
        *problem = gone;
        return std::nullopt;
    }
    std::string oldest; // gives way when the token has too many
    const bool has_room = sessions_of(*known_, owner.id, &oldest) < sessions_per_token_limit;
    if (has_room && known_->sessions.size() >= sessions_limit) {
        *problem = "there are " + std::to_string(sessions_limit) + " sessions already; possible: end others";
        return std::nullopt;
    }
    session_grant grant;
    grant.text = new_secret();
    grant.until = now + (kept ? kept_session_s : short_session_s);
    grant.kept = kept;
    const std::string hash = hash_of(grant.text);
    const auto steps = [&] {
        std::int64_t there = 0; // another process may have removed it since the last look
        if (!known_->kept->read(
                "SELECT count(*) FROM tokens WHERE id = ?", {owner.id},
                [&](const sql_row& row) { there = row.number(0); }, problem))
            return false;
        if (there == 0) {
            *problem = gone;
            return false;
        }
        return (has_room ||
                known_->kept->change("DELETE FROM sessions WHERE hash = ?", {blob{oldest}}, problem)) &&
               known_->kept->change("INSERT INTO sessions (hash, token, until, kept) VALUES (?, ?, ?, ?)",
                                    {blob{hash}, owner.id, grant.until, kept ? 1 : 0}, problem);
    };
    if (!known_->kept->transaction(steps, problem))
        return std::nullopt;
    grant.id = known_->kept->last_id();
    if (!has_room) {
        known_->news.ended_sessions.push_back(known_->sessions.at(oldest).id);
        known_->sessions.erase(oldest);
    }
    known_->sessions[hash] = {grant.id, grant.until, known_owner, kept};
    return grant;
}

bool access_store::end_session(std::string_view text, std::string* problem) {
    if (text.size() != secret_text_size)
        return true;
    const std::string hash = hash_of(text);
    known_->kept->forget_busy();
    const auto found = known_->sessions.find(hash);
    if (found != known_->sessions.end()) {
        known_->news.ended_sessions.push_back(found->second.id);
        known_->sessions.erase(found);
        known_->ended.insert(hash);
    }
    return !known_->ended.contains(hash) || write_ended(problem);
}

void access_store::end_old_sessions(std::int64_t now) {
    for (auto each = known_->sessions.begin(); each != known_->sessions.end();) {
        const bool is_over = each->second.until <= now;
        if (is_over) {
            known_->news.ended_sessions.push_back(each->second.id);
            known_->ended.insert(each->first);
        }
        each = is_over ? known_->sessions.erase(each) : std::next(each);
    }
}

// Whoever cannot be written to now is tried again with one of the next looks.
bool access_store::prolong_used_sessions(std::int64_t now, std::string* problem) {
    std::erase_if(known_->used, [&](const std::string& hash) {
        const auto found = known_->sessions.find(hash);
        return found == known_->sessions.end() || !has_lost_a_day(found->second, now);
    });
    if (known_->used.empty() || !known_->kept->write_problem().empty())
        return true;
    const std::int64_t until = now + kept_session_s;
    const auto steps = [&] {
        return std::all_of(known_->used.begin(), known_->used.end(), [&](const std::string& hash) {
            return known_->kept->change("UPDATE sessions SET until = ? WHERE hash = ?", {until, blob{hash}},
                                        problem);
        });
    };
    if (!known_->kept->transaction(steps, problem))
        return false;
    for (const std::string& hash : known_->used)
        known_->sessions.at(hash).until = until;
    known_->used.clear();
    return true;
}

// Behind their end: it must not wait for a disk that cannot be written.
bool access_store::write_ended(std::string* problem) {
    if (known_->ended.empty())
        return true;
    const auto steps = [&] {
        return std::all_of(known_->ended.begin(), known_->ended.end(), [&](const std::string& hash) {
            return known_->kept->change("DELETE FROM sessions WHERE hash = ?", {blob{hash}}, problem);
        });
    };
    const bool written = known_->kept->transaction(steps, problem);
    if (written)
        known_->ended.clear();
    return written;
}

} // namespace gateway
