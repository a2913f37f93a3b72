// What is removed of the history: what is too old or too much, others' before this site's own.
#include "gateway/settings/limits.h"
#include "history_file.h"
#include "trimmed_place.h"

#include <algorithm>

namespace gateway {

bool history_file::trim(const history_share& share, std::int64_t now_us, bool* more, std::string* problem) {
    *more = false;
    if (!is_kept(share))
        return true;
    constexpr std::int64_t day_us = 86400000000;
    return trim_days(now_us - share.days * day_us, more, problem) &&
           kept_->change(
               "DELETE FROM runs WHERE id NOT IN (SELECT id FROM runs ORDER BY began DESC LIMIT 1000)", {},
               problem) &&
           trim_share(entry_share::logins, share.bytes, more, problem) &&
           trim_share(entry_share::refusals, share.bytes, more, problem) &&
           trim_bytes(share.bytes, more, problem);
}

bool history_file::note_trimmed(entry_share share, std::int64_t time_us, std::string* problem) {
    return time_us == 0 ||
           kept_->change("INSERT INTO places (name, number, mark) VALUES (?, ?, '') "
                         "ON CONFLICT (name) DO UPDATE SET number = max(number, excluded.number)",
                         {trimmed_place(share), time_us}, problem);
}

bool history_file::trim_days(std::int64_t oldest_us, bool* more, std::string* problem) {
    for (const entry_share share : {entry_share::common, entry_share::logins, entry_share::refusals}) {
        std::int64_t newest_us = 0; // of what is too old
        if (!kept_->read(
                "SELECT max(time) FROM entries WHERE site <> '' AND share = ? AND time < ?",
                {static_cast<std::int64_t>(share), oldest_us},
                [&](const sql_row& row) { newest_us = row.number(0); }, problem) ||
            !note_trimmed(share, newest_us, problem))
            return false;
    }
    if (!kept_->change("DELETE FROM entries WHERE id IN (SELECT id FROM entries WHERE time < ? "
                       "ORDER BY time LIMIT ?)",
                       {oldest_us, history_trim_rows}, problem))
        return false;
    *more = kept_->changed_rows() == history_trim_rows;
    return true;
}

// Takes go last: not while refusals have more than their part.
bool history_file::trim_bytes(std::int64_t bytes, bool* more, std::string* problem) {
    std::int64_t page = 0, pages = 0, unused = 0;
    if (!kept_->number("PRAGMA page_size", &page, problem) ||
        !kept_->number("PRAGMA page_count", &pages, problem) ||
        !kept_->number("PRAGMA freelist_count", &unused, problem))
        return false;
    if (!*more && (pages - unused) * page > bytes) {
        std::int64_t removed = 0;
        if (!trim_oldest(entry_share::common, history_trim_rows, &removed, problem))
            return false;
        *more = removed > 0;
    }
    if (pages * page <= bytes || unused == 0)
        return true;
    *more = true;
    return kept_->read(
        "PRAGMA incremental_vacuum(256)", {}, [](const sql_row&) {}, problem);
}

bool history_file::trim_share(entry_share of, std::int64_t bytes, bool* more, std::string* problem) {
    const std::int64_t most =
        std::min(history_counted_rows_limit, bytes / history_refusals_part / history_refusal_bytes);
    std::int64_t rows = 0, removed = 0;
    if (!kept_->read(
            "SELECT count(*) FROM entries WHERE share = ? AND share > 0", {static_cast<std::int64_t>(of)},
            [&](const sql_row& row) { rows = row.number(0); }, problem))
        return false;
    const std::int64_t beyond = std::min(rows - most, history_trim_rows);
    if (beyond <= 0)
        return true;
    *more = *more || beyond == history_trim_rows;
    return trim_oldest(of, beyond, &removed, problem);
}

// What other sites tell, however much it is, erases nothing of this one's own.
bool history_file::trim_oldest(entry_share of, std::int64_t rows, std::int64_t* removed,
                               std::string* problem) {
    const auto share = static_cast<std::int64_t>(of);
    std::int64_t newest_us = 0;
    if (!kept_->read(
            "SELECT max(time) FROM (SELECT time FROM entries WHERE site <> '' AND share = ? "
            "ORDER BY time LIMIT ?)",
            {share, rows}, [&](const sql_row& row) { newest_us = row.number(0); }, problem) ||
        !note_trimmed(of, newest_us, problem) ||
        !kept_->change("DELETE FROM entries WHERE id IN (SELECT id FROM entries WHERE site <> '' AND "
                       "share = ? ORDER BY time LIMIT ?)",
                       {share, rows}, problem))
        return false;
    *removed = kept_->changed_rows();
    if (*removed == rows)
        return true;
    const char* const own = of == entry_share::common
                                ? "DELETE FROM entries WHERE id IN (SELECT id FROM entries WHERE site = '' "
                                  "AND share = ? ORDER BY time LIMIT ?)"
                                : "DELETE FROM entries WHERE id IN (SELECT id FROM entries WHERE site = '' "
                                  "AND share = ? AND share > 0 ORDER BY time LIMIT ?)"; // has an index
    if (!kept_->change(own, {share, rows - *removed}, problem))
        return false;
    *removed += kept_->changed_rows();
    return true;
}

} // namespace gateway
