#include "history_outbox.h"

#include "history_query.h"
#include "history_schema.h"

namespace gateway {
namespace {

constexpr int share_column = 25; // behind entry_columns and the first three of site_columns

} // namespace

std::unique_ptr<history_outbox> history_outbox::open(const std::string& state_directory,
                                                     std::string* problem) {
    std::int64_t version = 0;
    auto kept = open_history_to_read(state_directory, &version, problem);
    if (!kept)
        return nullptr;
    if (version <= history_version_before_sites) // the writer has not come to it yet
        return nullptr;
    return std::unique_ptr<history_outbox>(new history_outbox(std::move(kept)));
}

bool history_outbox::read(const wanted& which, std::size_t limit, std::vector<far_entry>* entries,
                          std::string* problem) {
    static const std::string text = "SELECT " + std::string(entry_columns) + ", " + site_columns +
                                    " FROM entries WHERE site = '' AND site_number > 0 AND site_number > ? "
                                    "AND (site_number > ? OR time >= ?) ORDER BY site_number LIMIT ?";
    entries->clear();
    return kept_->read(
        text.c_str(), {which.after, which.again_to, which.since_us, static_cast<std::int64_t>(limit)},
        [&](const sql_row& row) {
            entries->push_back({entry_of_row(row), static_cast<entry_share>(row.number(share_column))});
        },
        problem);
}

bool history_outbox::find(const char* name, history_place* place, std::string* problem) {
    *place = {name, 0, {}};
    return kept_->read(
        "SELECT number, mark FROM places WHERE name = ?", {std::string_view(name)},
        [&](const sql_row& row) {
            place->number = row.number(0);
            place->mark = row.text(1);
        },
        problem);
}

} // namespace gateway
