#include "history_file.h"

#include "epoch_number.h"
#include "gateway/settings/limits.h"
#include "history_outbox.h"
#include "history_schema.h"
#include "text.h"
#include "user_lookup.h"

#include <algorithm>

namespace gateway {

namespace {

std::string_view cut(const std::string& text) {
    return text_head(text, history_text_limit);
}

} // namespace

std::unique_ptr<history_file> history_file::open(const std::string& state_directory, const run& now,
                                                 std::string* problem) {
    auto kept = open_history(state_directory, problem);
    if (!kept)
        return nullptr;
    std::unique_ptr<history_file> opened(new history_file(std::move(kept)));
    const auto add_run = [&](const sql_row& row) {
        opened->runs_.push_back({row.number(0), row.number(1), row.number(2)});
    };
    if (!opened->kept_->read("SELECT process, user, began FROM runs ORDER BY began", {}, add_run, problem))
        return nullptr;
    const auto number = [&](std::int64_t* value) {
        return [value](const sql_row& row) { *value = row.number(0); };
    };
    if (!opened->kept_->read("SELECT random()", {}, number(&opened->epoch_), problem) ||
        !opened->kept_->read("SELECT number FROM places WHERE name = 'numbered'", {},
                             number(&opened->numbered_), problem))
        return nullptr;
    // At once: when this process is killed, whoever reads the drivers' records later knows it all the same.
    const auto is_now = [&](const run& each) {
        return each.process == now.process && each.began_us == now.began_us;
    };
    if (std::any_of(opened->runs_.begin(), opened->runs_.end(), is_now))
        return opened;
    if (!opened->kept_->change("INSERT INTO runs (began, process, user) VALUES (?, ?, ?)",
                               {now.began_us, now.process, now.user}, problem))
        return nullptr;
    opened->runs_.push_back(now);
    return opened;
}

bool history_file::write(std::span<const history_item> batch, std::vector<history_entry>* written,
                         std::string* problem) {
    written->clear();
    const std::int64_t before = numbered_;
    const auto steps = [&] {
        return std::all_of(batch.begin(), batch.end(),
                           [&](const history_item& item) {
                               return std::visit(
                                   [&](const auto& each) { return add(each, written, problem); }, item);
                           }) &&
               note_numbered(before, problem);
    };
    if (kept_->transaction(steps, problem))
        return true;
    numbered_ = before;
    written->clear();
    return false;
}

bool history_file::note_numbered(std::int64_t before, std::string* problem) {
    std::vector<history_entry> none;
    return numbered_ == before || add(history_place{place_numbered, numbered_, {}}, &none, problem);
}

// Who a driver's client was: a token when it was a gateway of this state directory, else a user.
void history_file::tell_who(history_entry* entry) const {
    if (entry->number == 0 || entry->user < 0 || !entry->through.empty())
        return;
    const auto later = std::find_if(runs_.begin(), runs_.end(),
                                    [&](const run& each) { return each.began_us > entry->time_us; });
    const bool is_own = later != runs_.begin() && std::prev(later)->process == entry->process &&
                        std::prev(later)->user == entry->user;
    entry->through = is_own ? through_gateway : through_driver;
    entry->by = is_own ? entry->claims : user_name(entry->user);
    if (is_own)
        entry->claims.clear();
}

bool history_file::add(history_entry entry, std::vector<history_entry>* written, std::string* problem) {
    tell_who(&entry);
    if (!insert(entry, entry_share::common, "", problem))
        return false;
    if (kept_->changed_rows() > 0)
        written->push_back(std::move(entry));
    return true;
}

bool history_file::add(const counted_entry& counted, std::vector<history_entry>* written,
                       std::string* problem) {
    const history_entry& entry = counted.entry;
    if (!kept_->change("UPDATE entries SET count = count + ?, until = ? WHERE counted = ? AND counted <> ''",
                       {entry.count, entry.until_us, counted.key}, problem))
        return false;
    if (kept_->changed_rows() > 0)
        return true;
    if (!insert(entry, counted.is_login ? entry_share::logins : entry_share::refusals, counted.key, problem))
        return false;
    written->push_back(entry);
    return true;
}

bool history_file::add(const history_place& place, std::vector<history_entry>*, std::string* problem) {
    return kept_->change("INSERT OR REPLACE INTO places (name, number, mark) VALUES (?, ?, ?)",
                         {place.name, place.number, place.mark}, problem);
}

// What is missing between what is known and what can be read becomes a gap, once.
bool history_file::add(const record_mark& mark, std::vector<history_entry>* written, std::string* problem) {
    const std::int64_t epoch = epoch_number(mark.epoch);
    std::int64_t known_epoch = 0, read_to = 0;
    if (!kept_->read(
            "SELECT epoch, read_to FROM records WHERE router = ?", {mark.router},
            [&](const sql_row& row) {
                known_epoch = row.number(0);
                read_to = row.number(1);
            },
            problem))
        return false;
    if (known_epoch != epoch) {
        if (known_epoch != 0 && !mark.heard_before &&
            !add_gap(mark, 0,
                     "the driver was started anew while the gateway did not listen; takes of its start "
                     "before may be missing",
                     written, problem))
            return false;
        read_to = 0;
    }
    if (!kept_->read(
            "SELECT number FROM entries WHERE router = ? AND epoch = ? AND number > 0 AND number < ? "
            "AND site = '' ORDER BY number DESC LIMIT 1",
            {mark.router, epoch, mark.first},
            [&](const sql_row& row) { read_to = std::max(read_to, row.number(0)); }, problem))
        return false;
    const std::int64_t missing = mark.first - 1 - read_to;
    if (missing > 0 &&
        !add_gap(mark, missing,
                 "takes " + std::to_string(read_to + 1) + " to " + std::to_string(mark.first - 1) +
                     " of the driver's record were no longer there to be read",
                 written, problem))
        return false;
    return kept_->change("INSERT OR REPLACE INTO records (router, epoch, read_to) VALUES (?, ?, ?)",
                         {mark.router, epoch, std::max(read_to, mark.first - 1)}, problem);
}

bool history_file::add_gap(const record_mark& mark, std::int64_t missing, const std::string& reason,
                           std::vector<history_entry>* written, std::string* problem) {
    history_entry gap;
    gap.kind = entry_kind::gap;
    gap.time_us = mark.time_us;
    gap.router = mark.router;
    gap.reason = reason;
    gap.count = missing;
    gap.epoch = mark.epoch;
    return add(gap, written, problem);
}

bool history_file::insert(const history_entry& entry, entry_share share, const std::string& key,
                          std::string* problem) {
    const bool is_far = !entry.site.empty(), may_change = !key.empty();
    const std::int64_t own_number = may_change ? 0 : numbered_ + 1;
    const bool done = kept_->change(
        "INSERT OR IGNORE INTO entries (time, kind, router, output, input, level, who, through, claims, "
        "user, process, address, shown_before, shown_after, result, reason, milliseconds, count, until, "
        "epoch, number, share, counted, site, site_epoch, site_number) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        {entry.time_us,
         static_cast<std::int64_t>(entry.kind),
         cut(entry.router),
         static_cast<std::int64_t>(entry.output),
         static_cast<std::int64_t>(entry.input),
         cut(entry.level),
         cut(entry.by),
         cut(entry.through),
         cut(entry.claims),
         entry.user,
         entry.process,
         cut(entry.address),
         cut(entry.before),
         cut(entry.after),
         cut(entry.result),
         cut(entry.reason),
         entry.milliseconds,
         entry.count,
         entry.until_us,
         epoch_number(entry.epoch),
         entry.number,
         static_cast<std::int64_t>(share),
         key,
         entry.site,
         is_far ? epoch_number(entry.site_epoch) : epoch_,
         is_far ? entry.site_number : own_number},
        problem);
    if (done && !is_far && !may_change && kept_->changed_rows() > 0)
        ++numbered_;
    return done;
}

bool history_file::number_refusals(std::int64_t now_us, std::string* problem) {
    constexpr std::int64_t surely_over_us = 90000000;
    std::vector<std::int64_t> over;
    if (!kept_->read(
            "SELECT id FROM entries WHERE site_number = 0 AND site = '' AND time < ? ORDER BY time LIMIT ?",
            {now_us - surely_over_us, history_trim_rows},
            [&](const sql_row& row) { over.push_back(row.number(0)); }, problem))
        return false;
    if (over.empty())
        return true;
    const std::int64_t before = numbered_;
    const auto steps = [&] {
        return std::all_of(over.begin(), over.end(),
                           [&](std::int64_t id) {
                               return kept_->change(
                                   "UPDATE entries SET site_epoch = ?, site_number = ? WHERE id = ?",
                                   {epoch_, ++numbered_, id}, problem);
                           }) &&
               note_numbered(before, problem);
    };
    const bool done = kept_->transaction(steps, problem);
    if (!done)
        numbered_ = before;
    return done;
}

} // namespace gateway
