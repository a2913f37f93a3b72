// Tokens and sessions: kept in one SQLite file of the state directory, looked up in memory.
//
// Only hashes of the secrets are kept. A text is shown once, to whom it is given. Times are seconds since
// 1970, given in; the store has no clock.
#pragma once

#include "token.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

class database;
struct known_access;

struct session_grant {
    std::string text; // for the cookie: base64url, 43 characters
    std::int64_t id = 0;
    std::int64_t until = 0;
    bool kept = false; // the cookie may outlive the browser
};

struct known_session {
    std::int64_t id = 0;
    std::shared_ptr<const token> owner; // null: there is no such session
    bool kept = false;                  // the cookie may outlive the browser
};

// What has ended since the last look, whoever ended it. The connections of these ids have to end.
struct access_news {
    std::vector<std::int64_t> removed_tokens;
    std::vector<std::int64_t> ended_sessions; // those of removed tokens, too
    std::string problem; // why nothing could be read or written; what was known before goes on
};

class access_store {
public:
    // The store of that directory, made when it is not there yet. Null and one sentence in *problem when it
    // cannot be opened, is damaged, or was written by a newer version. busy_ms: how long to wait for another
    // writer.
    static std::unique_ptr<access_store> open(const std::string& state_directory, int busy_ms,
                                              std::string* problem);
    ~access_store();
    access_store(const access_store&) = delete;
    access_store& operator=(const access_store&) = delete;

    // Returns the token's text, "vrdx_" and 43 characters; empty and a sentence in *problem when it was not
    // added. The id of the wish is not looked at.
    std::string add(const token& wish, std::int64_t now, std::string* problem);

    // By name.
    std::vector<token> list() const;

    // False and a sentence in *problem when there is none of that name, or it stayed.
    bool remove(const std::string& name, std::string* problem);

    // Null when it is none.
    std::shared_ptr<const token> of_text(std::string_view text) const;

    // A kept one that is asked for is in use: look() prolongs it to its full time, at most once a day.
    known_session of_session(std::string_view text, std::int64_t now) const;

    // Nothing and a sentence in *problem when it was not begun. Ends the token's oldest one when it has
    // sessions_per_token_limit of them. Committed before it returns.
    std::optional<session_grant> begin_session(const token& owner, bool kept, std::int64_t now,
                                               std::string* problem);

    // The session has ended for this gateway in any case. False and a sentence in *problem when it may go on
    // after a restart, because that is not on the disk: asked again it tries again, and so does look(). An
    // unknown one has ended.
    bool end_session(std::string_view text, std::string* problem);

    // To be called every access_look_period_ms: reads what other processes wrote, ends what is over.
    access_news look(std::int64_t now);

    // From now on nothing here waits for another writer. When something fails because of one, is_busy() is
    // true.
    void wait_no_more();
    bool is_busy() const;

    // For the lock table, which is kept in the same file.
    database& kept();

private:
    explicit access_store(std::unique_ptr<known_access> known);
    void end_old_sessions(std::int64_t now);
    bool prolong_used_sessions(std::int64_t now, std::string* problem);
    bool write_ended(std::string* problem);

    std::unique_ptr<known_access> known_;
};

} // namespace gateway
