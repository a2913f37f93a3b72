// One line of the history: who did what, where and when, and what became of it.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace gateway {

// Kept as numbers: new ones come behind the others.
enum class entry_kind { take, name, lock, preset, login, request, gap, token };

// "take", "name", "lock", "preset", "login", "request" (anything else that was refused), "gap" (something is
// missing, and how much), "token".
const char* entry_kind_word(entry_kind kind);

// By what somebody came. Further ways (another front) may have words of their own.
constexpr const char* through_gateway = "gateway";   // `by` is a token's name
constexpr const char* through_driver = "driver";     // `by` is a user of this machine
constexpr const char* through_videohub = "videohub"; // `by` is "videohub ADDRESS"
constexpr const char* through_site = "site";         // `by` is "SITE:NAME", with the token's name there

// What does not apply is empty, 0, or -1 where 0 means something. Texts are UTF-8, or are made so when they
// are shown; they are cut to history_text_limit.
struct history_entry {
    std::int64_t id = 0;      // given when it is written
    std::int64_t time_us = 0; // microseconds since 1970; 0: now
    entry_kind kind = entry_kind::take;
    std::string router;
    int output = 0, input = 0; // 1-based
    std::string level;         // of a take: "all" or "video,audio"
    std::string by;            // the token's name or the user's; empty: nobody is known
    std::string through;
    std::string claims;        // what a client of the driver says of itself; nobody has checked it
    std::int64_t user = -1;    // of the driver's client
    std::int64_t process = 0;  // likewise
    std::string address;       // numeric, of who asked the gateway
    std::string before, after; // sources as source_text() writes them, names, states of a lock; `after` of a
                               // take is what was asked for
    std::string result;        // of a take the driver's words, and those of the gateway's own
    std::string reason;
    std::int64_t milliseconds = -1; // from the request to the decision
    std::int64_t count = 1;         // of alike ones that are one entry
    std::int64_t until_us = 0;      // when the last of these was; 0: there is one
    // Where the driver's record has it; no two entries have the same.
    std::string epoch; // 16 hexadecimal digits; empty: in no record
    std::int64_t number = 0;
    // Whose entry it is: empty for this site. And its place in that site's history, which is unique there.
    std::string site;
    std::string site_epoch;       // 16 hexadecimal digits
    std::int64_t site_number = 0; // 0 or less: none
};

// Which part of the file's room an entry counts against.
enum class entry_share { common, logins, refusals };

// From here on the driver's record can be read: takes from number `first` on follow. What lies between what
// is known and `first` is lost, and becomes a gap.
struct record_mark {
    std::string router;
    std::string epoch;
    std::int64_t first = 1;
    std::int64_t time_us = 0;  // of that take, else now
    bool heard_before = false; // the gateway listened to the driver's start before this one until its end
};

// Equal refusals of one minute are one entry: `entry.count` is added to what is there under this key.
struct counted_entry {
    std::string key;
    history_entry entry;
    bool is_login = false; // has a share of its own
};

// An entry of another site, whole: with the name of its site before its router and before who it was.
struct far_entry {
    history_entry entry;
    entry_share share = entry_share::common;
    std::int64_t not_read = 0; // entries of that site right before it that came and could not be read
};

// How far something has come (such as: sent up to here), which goes on there after the next start. It is
// written together with the entries before it, or not at all.
struct history_place {
    std::string name; // "sent", "stored", "read", "of SITE"
    std::int64_t number = 0;
    std::string mark; // what the number belongs to; empty where there is one such thing alone
};

using history_item = std::variant<history_entry, record_mark, counted_entry, far_entry, history_place>;

// "3" for all levels, "7,4" for video and audio; 0 for none, "?" for unknown.
std::string source_text(bool split_levels, int video, int audio);

} // namespace gateway
