#include "gateway/presets/preset_store.h"

#include "gateway/access/access_store.h"
#include "gateway/access/database.h"
#include "gateway/settings/limits.h"

namespace gateway {

namespace {

using kind = preset_answer::kind;

preset_answer not_here() {
    return {kind::not_here, "There is no preset of this name; GET /api/v1/presets lists those there are."};
}

// Room for numbers is counted with the texts of each take.
constexpr std::size_t numbers_bytes = 16;

std::size_t bytes_of(const std::string& router, const std::string& video, const std::string& audio) {
    return router.size() + video.size() + audio.size() + numbers_bytes;
}

void count(preset_row* row, const std::string& router, std::size_t bytes) {
    row->routers.insert(router);
    row->takes++;
    row->bytes += bytes;
}

bool write_takes(database& kept, const std::string& name, const std::vector<preset_take>& takes,
                 std::string* problem) {
    std::int64_t place = 0;
    for (const preset_take& each : takes) {
        const std::string video = kept_source(each.wish.video), audio = kept_source(each.wish.audio);
        if (!kept.change(
                "INSERT INTO preset_takes (preset, place, router, output, video, audio) VALUES (?, ?, "
                "?, ?, ?, ?)",
                {name, place++, each.router, each.wish.output, video, audio}, problem))
            return false;
    }
    return true;
}

} // namespace

std::unique_ptr<preset_store> preset_store::open(access_store& store, std::string* problem) {
    std::unique_ptr<preset_store> opened(new preset_store(store));
    const auto read_row = [&](const sql_row& row) {
        preset_row& known = opened->rows_[row.text(0)];
        known.name = row.text(0);
        known.author = row.text(1);
        known.changed = row.number(2);
    };
    const auto read_take = [&](const sql_row& row) {
        const std::size_t bytes = bytes_of(row.text(1), row.text(2), row.text(3));
        count(&opened->rows_[row.text(0)], row.text(1), bytes);
        opened->bytes_ += bytes;
    };
    if (!store.kept().read("SELECT name, author, changed FROM presets", {}, read_row, problem) ||
        !store.kept().read("SELECT preset, router, video, audio FROM preset_takes", {}, read_take, problem))
        return nullptr;
    return opened;
}

const preset_row* preset_store::find(std::string_view name, const token& who) const {
    const auto found = rows_.find(name);
    return found == rows_.end() || !may_see(who, found->second) ? nullptr : &found->second;
}

std::vector<const preset_row*> preset_store::list(const token& who) const {
    std::vector<const preset_row*> seen;
    for (const auto& [name, row] : rows_)
        if (may_see(who, row))
            seen.push_back(&row);
    return seen;
}

preset_answer preset_store::read(std::string_view name, const token& who, preset* found) const {
    const preset_row* const row = find(name, who);
    if (row == nullptr)
        return not_here();
    *found = {*row, {}};
    const auto read_take = [found](const sql_row& each) {
        found->takes.push_back(
            {each.text(0),
             {static_cast<int>(each.number(1)), source_of_kept(each.text(2)), source_of_kept(each.text(3))}});
    };
    std::string problem;
    if (store_.kept().read(
            "SELECT router, output, video, audio FROM preset_takes WHERE preset = ? ORDER BY place", {name},
            read_take, &problem))
        return {kind::done, {}};
    return {kind::failed, problem};
}

preset_answer preset_store::write(const std::string& name, const std::vector<preset_take>& takes,
                                  const token& who, std::int64_t now) {
    store_.kept().forget_busy();
    preset_row row{name, who.name, now, {}, 0, 0};
    for (const preset_take& each : takes)
        count(&row, each.router,
              bytes_of(each.router, kept_source(each.wish.video), kept_source(each.wish.audio)));
    const auto before = rows_.find(name);
    const bool is_new = before == rows_.end();
    if (!is_new && !may_see(who, before->second))
        return {kind::taken, "This name belongs to a preset of routers that this token does not see; "
                             "possible: another name."};
    if (is_new && rows_.size() >= presets_limit)
        return {kind::too_many,
                "There are " + std::to_string(presets_limit) + " presets already; possible: remove others."};
    const std::size_t others = bytes_ - (is_new ? 0 : before->second.bytes);
    if (others + row.bytes > presets_bytes_limit)
        return {kind::too_many, "All presets together would be larger than " +
                                    std::to_string(presets_bytes_limit) + " bytes; possible: remove others."};
    database& kept = store_.kept();
    std::string problem;
    const auto steps = [&] {
        return kept.change("DELETE FROM presets WHERE name = ?", {name}, &problem) &&
               kept.change("INSERT INTO presets (name, author, changed) VALUES (?, ?, ?)",
                           {name, row.author, now}, &problem) &&
               write_takes(kept, name, takes, &problem);
    };
    if (!kept.transaction(steps, &problem))
        return {kind::failed, problem};
    bytes_ = others + row.bytes;
    rows_[name] = std::move(row);
    return {kind::done, {}};
}

preset_answer preset_store::remove(std::string_view name, const token& who) {
    store_.kept().forget_busy();
    const preset_row* const row = find(name, who);
    if (row == nullptr)
        return not_here();
    std::string problem;
    const auto steps = [&] {
        return store_.kept().change("DELETE FROM presets WHERE name = ?", {name}, &problem);
    };
    if (!store_.kept().transaction(steps, &problem))
        return {kind::failed, problem};
    bytes_ -= row->bytes;
    rows_.erase(rows_.find(name));
    return {kind::done, {}};
}

} // namespace gateway
