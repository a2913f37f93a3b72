// What is asked of the history, and how it is found.
#pragma once

#include "gateway/access/database.h"
#include "history_entry.h"

#include <optional>
#include <set>
#include <vector>

namespace gateway {

struct history_query {
    std::optional<std::vector<std::string>> routers; // of these alone; nothing: of all
    bool beyond_routers = false;                     // also what belongs to no router: logins, lost entries
    int output = 0;                                  // 0: of all
    std::string by;                                  // empty: of all
    std::int64_t since_us = 0, until_us = 0;         // both are included; 0: without a bound
    std::size_t limit = 0;
};

// What entry_of_row() wants of a row of `entries`, in this order.
constexpr const char* entry_columns =
    "id, time, kind, router, output, input, level, who, through, claims, user, process, address, "
    "shown_before, shown_after, result, reason, milliseconds, count, until, epoch, number";
constexpr const char* site_columns = "site, site_epoch, site_number, share";
history_entry entry_of_row(const sql_row& row);

// A connection to history.db that cannot write, and the version of its tables, 0 while they are being made.
// Null with an empty *problem: there is no history yet.
std::unique_ptr<database> open_history_to_read(const std::string& state_directory, std::int64_t* version,
                                               std::string* problem);

// A connection of its own to history.db, for one thread that only reads.
class history_reading {
public:
    // Null with an empty *problem: there is no history yet.
    static std::unique_ptr<history_reading> open(const std::string& state_directory, std::string* problem);

    // Newest first. Stopped after history_question_time_limit_ms; *problem then asks for a narrower question.
    bool read(const history_query& query, std::vector<history_entry>* entries, std::string* problem);

private:
    history_reading(std::unique_ptr<database> kept, std::int64_t version)
        : kept_(std::move(kept)), version_(version) {}
    bool read_some(const history_query& query, const std::string* router, std::vector<history_entry>* entries,
                   std::string* problem);

    std::set<std::string> texts_; // statements, which are prepared once; there are few kinds of questions
    std::unique_ptr<database> kept_;
    std::int64_t version_;
};

} // namespace gateway
