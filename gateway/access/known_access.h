// What the store keeps in memory: the tokens and sessions of its database by the hashes of their secrets.
#pragma once

#include "access_store.h"
#include "database.h"

#include <map>
#include <set>
#include <unordered_map>

namespace gateway {

struct session_entry {
    std::int64_t id = 0;
    std::int64_t until = 0;
    std::shared_ptr<const token> owner;
    bool kept = false; // is prolonged while it is in use
};

struct known_access {
    std::unique_ptr<database> kept;
    std::int64_t data_version = 0; // of the database when it was read; changes with what others write
    std::unordered_map<std::string, std::shared_ptr<const token>> tokens;
    std::unordered_map<std::string, session_entry> sessions;
    access_news news; // for the next look
    // Hashes of sessions that have ended, and stand in the file all the same until that can be written.
    std::set<std::string> ended;
    // Hashes of kept sessions that were used and were prolonged more than a day ago.
    std::set<std::string> used;
    std::uint64_t busy_looks = 0;   // looks in a row that found the file busy
    std::uint64_t failed_looks = 0; // looks since a write failed; after every so many it is tried again
};

// Reads all anew and notes in `news` what is gone. False and a sentence in *problem, with all as it was, when
// it cannot be read.
bool read_access(known_access& known, std::string* problem);

} // namespace gateway
