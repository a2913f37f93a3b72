// The sessions of the store: a secret of their own for a browser, so that the token itself is in no cookie.
#include "access_store.h"

#include "gateway/settings/limits.h"
#include "known_access.h"
#include "secret.h"

#include <algorithm>

namespace gateway {

known_session access_store::of_session(std::string_view text, std::int64_t now) const {
    if (text.size() != secret_text_size)
        return {};
    const auto found = known_->sessions.find(hash_of(text));
    if (found == known_->sessions.end() || found->second.until <= now)
        return {};
    return {found->second.id, found->second.owner};
}

std::optional<session_grant> access_store::begin_session(const token& owner, bool kept, std::int64_t now,
                                                         std::string* problem) {
    // Who it is has to be known still.
    std::shared_ptr<const token> known_owner;
    for (const auto& [hash, one] : known_->tokens)
        if (one->id == owner.id)
            known_owner = one;
    if (!known_owner) {
        *problem = "a session needs a token; possible: one that `token list` shows";
        return std::nullopt;
    }
    std::string oldest; // its hash, when the token has too many
    std::size_t own = 0;
    for (const auto& [hash, one] : known_->sessions)
        if (one.owner->id == owner.id) {
            ++own;
            if (oldest.empty() || one.id < known_->sessions.at(oldest).id)
                oldest = hash;
        }
    const bool has_room = own < sessions_per_token_limit;
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
        return (has_room ||
                known_->kept->change("DELETE FROM sessions WHERE hash = ?", {blob{oldest}}, problem)) &&
               known_->kept->change("INSERT INTO sessions (hash, token, until) VALUES (?, ?, ?)",
                                    {blob{hash}, owner.id, grant.until}, problem);
    };
    if (!known_->kept->transaction(steps, problem))
        return std::nullopt;
    grant.id = known_->kept->last_id();
    if (!has_room) {
        known_->news.ended_sessions.push_back(known_->sessions.at(oldest).id);
        known_->sessions.erase(oldest);
    }
    known_->sessions[hash] = {grant.id, grant.until, known_owner};
    return grant;
}

bool access_store::end_session(std::string_view text, std::string* problem) {
    if (text.size() != secret_text_size)
        return true;
    const std::string hash = hash_of(text);
    const auto found = known_->sessions.find(hash);
    if (found == known_->sessions.end())
        return true;
    if (!known_->kept->change("DELETE FROM sessions WHERE hash = ?", {blob{hash}}, problem))
        return false;
    known_->news.ended_sessions.push_back(found->second.id);
    known_->sessions.erase(found);
    return true;
}

void access_store::end_old_sessions(std::int64_t now, std::string* problem) {
    std::vector<std::string> over;
    for (const auto& [hash, one] : known_->sessions)
        if (one.until <= now)
            over.push_back(hash);
    if (over.empty() || !known_->kept->change("DELETE FROM sessions WHERE until <= ?", {now}, problem))
        return;
    for (const std::string& hash : over) {
        known_->news.ended_sessions.push_back(known_->sessions.at(hash).id);
        known_->sessions.erase(hash);
    }
}

} // namespace gateway
