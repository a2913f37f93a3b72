#include "history_query.h"

#include "epoch_number.h"
#include "gateway/settings/limits.h"
#include "history_schema.h"

#include <algorithm>
#include <unistd.h>

namespace gateway {

namespace {

// A file that nobody has written since there are sites has no columns for them.
constexpr const char* columns_without_site = "'', 0, -1, 0";

} // namespace

history_entry entry_of_row(const sql_row& row) {
    history_entry entry;
    entry.id = row.number(0);
    entry.time_us = row.number(1);
    entry.kind = static_cast<entry_kind>(row.number(2));
    entry.router = row.text(3);
    entry.output = static_cast<int>(row.number(4));
    entry.input = static_cast<int>(row.number(5));
    entry.level = row.text(6);
    entry.by = row.text(7);
    entry.through = row.text(8);
    entry.claims = row.text(9);
    entry.user = row.number(10);
    entry.process = row.number(11);
    entry.address = row.text(12);
    entry.before = row.text(13);
    entry.after = row.text(14);
    entry.result = row.text(15);
    entry.reason = row.text(16);
    entry.milliseconds = row.number(17);
    entry.count = row.number(18);
    entry.until_us = row.number(19);
    entry.epoch = epoch_text(row.number(20));
    entry.number = row.number(21);
    entry.site = row.text(22);
    entry.site_epoch = epoch_text(row.number(23));
    entry.site_number = row.number(24);
    return entry;
}

std::unique_ptr<database> open_history_to_read(const std::string& state_directory, std::int64_t* version,
                                               std::string* problem) {
    const std::string path = state_directory + "/" + history_file_name;
    if (access(path.c_str(), F_OK) != 0)
        return nullptr;
    auto kept = database::open(path, database_busy_ms, problem);
    if (!kept || !kept->script("PRAGMA query_only = ON", problem) ||
        !kept->number("PRAGMA user_version", version, problem))
        return nullptr;
    return kept;
}

namespace {

bool is_newer(const history_entry& one, const history_entry& other) {
    return one.time_us != other.time_us ? one.time_us > other.time_us : one.id > other.id;
}

} // namespace

std::unique_ptr<history_reading> history_reading::open(const std::string& state_directory,
                                                       std::string* problem) {
    std::int64_t version = 0;
    auto kept = open_history_to_read(state_directory, &version, problem);
    if (!kept)
        return nullptr;
    if (version == 0) // its tables are being made
        return nullptr;
    return std::unique_ptr<history_reading>(new history_reading(std::move(kept), version));
}

// Of several routers each is asked for by itself: an index has them in order, and the newest of all are among
// the newest of each.
bool history_reading::read(const history_query& query, std::vector<history_entry>* entries,
                           std::string* problem) {
    entries->clear();
    kept_->stop_after(history_question_time_limit_ms);
    bool done = true;
    if (!query.routers) {
        done = read_some(query, nullptr, entries, problem);
    } else {
        for (const std::string& router : *query.routers)
            done = done && read_some(query, &router, entries, problem);
        std::sort(entries->begin(), entries->end(), is_newer);
        if (entries->size() > query.limit)
            entries->resize(query.limit);
    }
    kept_->stop_after(0);
    if (!done && kept_->was_stopped())
        *problem = "This would take longer than " + std::to_string(history_question_time_limit_ms / 1000) +
                   " seconds; ask for a router, an output or a shorter time.";
    return done;
}

bool history_reading::read_some(const history_query& query, const std::string* router,
                                std::vector<history_entry>* entries, std::string* problem) {
    std::string text = "SELECT " + std::string(entry_columns) + ", " +
                       (version_ == history_version_before_sites ? columns_without_site : site_columns) +
                       " FROM entries";
    std::vector<sql_value> values;
    const auto add = [&](const char* condition, const sql_value& value) {
        text += (values.empty() ? " WHERE " : " AND ") + std::string(condition);
        values.push_back(value);
    };
    if (router != nullptr)
        add("router = ?", *router);
    else if (!query.beyond_routers)
        add("router <> ?", std::string_view());
    if (query.output > 0)
        add("output = ?", static_cast<std::int64_t>(query.output));
    if (!query.by.empty())
        add("who = ?", query.by);
    if (query.since_us != 0)
        add("time >= ?", query.since_us);
    if (query.until_us != 0)
        add("time <= ?", query.until_us);
    text += " ORDER BY time DESC, id DESC LIMIT ?";
    values.emplace_back(static_cast<std::int64_t>(query.limit));
    return kept_->read_with(
        texts_.insert(text).first->c_str(), values,
        [&](const sql_row& row) { entries->push_back(entry_of_row(row)); }, problem);
}

} // namespace gateway
