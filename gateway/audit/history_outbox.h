// What of this site's history other sites have not got yet, and how far that has come. A connection of its
// own to history.db, for one thread that only reads.
#pragma once

#include "gateway/access/database.h"
#include "history_entry.h"

#include <vector>

namespace gateway {

constexpr const char* place_numbered =
    "numbered";                            // the newest number that was given to an entry of this site
constexpr const char* place_sent = "sent"; // up to here the broker has them; the mark says in which stream
constexpr const char* place_stored = "stored"; // where in that stream the last of them is
constexpr const char* place_read = "read"; // up to here the broker's stream was read; the mark says which one

class history_outbox {
public:
    // Null with an empty *problem: there is no history yet.
    static std::unique_ptr<history_outbox> open(const std::string& state_directory, std::string* problem);

    // Entries of this site with numbers above `after`; of those up to `again_to` only what is of `since_us`
    // or later.
    struct wanted {
        std::int64_t after = 0, again_to = 0, since_us = 0;
    };
    // By their numbers, `limit` at most.
    bool read(const wanted& which, std::size_t limit, std::vector<far_entry>* entries, std::string* problem);

    // 0 and no mark when nothing is there yet.
    bool find(const char* name, history_place* place, std::string* problem);

private:
    explicit history_outbox(std::unique_ptr<database> kept) : kept_(std::move(kept)) {}

    std::unique_ptr<database> kept_;
};

} // namespace gateway
