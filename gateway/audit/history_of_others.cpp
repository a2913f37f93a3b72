// Entries of other sites: each once, and what never came as a gap. The journal is told of neither: the site's
// own has them.
#include "history_file.h"
#include "trimmed_place.h"

namespace gateway {
namespace {

// Up to which number of that site all is here, was here, or is told as missing.
std::string newest_place(const std::string& site) {
    return "of " + site;
}

constexpr const char* missing_reason = "so many entries of this site have not come: they were removed there, "
                                       "or at the broker, before they were read";

} // namespace

// 0: nothing has come from that site.
bool history_file::find_newest(const std::string& site, std::int64_t* number, std::string* problem) {
    *number = 0;
    const auto take = [&](const sql_row& row) { *number = row.number(0); };
    if (!kept_->read("SELECT number FROM places WHERE name = ?", {newest_place(site)}, take, problem))
        return false;
    // Entries that were read before there was such a place.
    return *number > 0 || kept_->read("SELECT max(site_number) FROM entries WHERE site = ? AND site <> ''",
                                      {site}, take, problem);
}

bool history_file::add(const far_entry& far, std::vector<history_entry>* written, std::string* problem) {
    const history_entry& entry = far.entry;
    std::int64_t newest = 0;
    if (!find_newest(entry.site, &newest, problem))
        return false;
    if (entry.site_number <= newest)
        return add_again(far, problem);
    return (newest == 0 || add_missing(far, newest, problem)) && insert(entry, far.share, "", problem) &&
           add(history_place{newest_place(entry.site), entry.site_number, {}}, written, problem);
}

// It comes once more, or behind later ones. What was removed here does not come back; what was told as
// missing no longer is.
bool history_file::add_again(const far_entry& far, std::string* problem) {
    const history_entry& entry = far.entry;
    std::int64_t trimmed_us = 0;
    if (!kept_->read(
            "SELECT number FROM places WHERE name = ?", {trimmed_place(far.share)},
            [&](const sql_row& row) { trimmed_us = row.number(0); }, problem))
        return false;
    if (entry.time_us <= trimmed_us)
        return true;
    if (!insert(entry, far.share, "", problem))
        return false;
    if (kept_->changed_rows() == 0)
        return true;
    std::int64_t gap = 0;
    return kept_->read(
               "SELECT id FROM entries WHERE site = ? AND site <> '' AND site_epoch = 0 AND site_number >= ? "
               "AND site_number < 0 ORDER BY site_number LIMIT 1",
               {entry.site, -entry.site_number}, [&](const sql_row& row) { gap = row.number(0); }, problem) &&
           kept_->change("UPDATE entries SET count = count - 1 WHERE id = ?", {gap}, problem) &&
           kept_->change("DELETE FROM entries WHERE id = ? AND count <= 0", {gap}, problem);
}

// Sites number their entries without holes. A gap has the first number that is missing, below 0, and no
// epoch.
bool history_file::add_missing(const far_entry& far, std::int64_t newest, std::string* problem) {
    const std::int64_t missing = far.entry.site_number - newest - 1 - far.not_read;
    if (missing <= 0)
        return true;
    history_entry gap;
    gap.kind = entry_kind::gap;
    gap.time_us = far.entry.time_us;
    gap.reason = missing_reason;
    gap.count = missing;
    gap.site = far.entry.site;
    gap.site_number = -(newest + 1);
    return insert(gap, entry_share::common, "", problem);
}

} // namespace gateway
