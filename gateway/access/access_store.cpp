#include "access_store.h"

#include "gateway/settings/limits.h"
#include "known_access.h"
#include "schema.h"
#include "secret.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/stat.h>
#include <thread>

namespace gateway {
namespace {

constexpr const char* database_name = "access.db";

bool make_directory(const std::string& path, std::string* problem) {
    if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST)
        return true;
    *problem = "the state directory " + path + " cannot be made: " + std::strerror(errno) +
               "; possible: --state DIR with a directory of your own";
    return false;
}

// FULL: what was answered is on the disk, also when the power fails. WAL: readers and one writer at a time.
bool prepare(database& kept, std::string* problem) {
    std::string mode;
    if (!kept.read(
            "PRAGMA journal_mode = WAL", {}, [&](const sql_row& row) { mode = row.text(0); }, problem))
        return false;
    if (mode != "wal") {
        *problem = kept.path() + " cannot be kept safe on this file system; possible: a local disk";
        return false;
    }
    std::string verdict;
    if (!kept.script(
            "PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON; PRAGMA journal_size_limit = 1048576",
            problem) ||
        !kept.read(
            "PRAGMA quick_check(1)", {}, [&](const sql_row& row) { verdict = row.text(0); }, problem))
        return false;
    if (verdict != "ok") {
        *problem = kept.path() + " is damaged; possible: put back a copy, or move it away to begin without "
                                 "tokens and locks";
        return false;
    }
    return bring_to_version(kept, schema_version, problem);
}

// Of several programs that make the same database, SQLite turns all but one away at once, without waiting.
bool prepare_patiently(database& kept, int busy_ms, std::string* problem) {
    constexpr std::chrono::milliseconds pause{10};
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(busy_ms);
    while (!prepare(kept, problem)) {
        if (!kept.was_busy() || std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ",") + name;
    return text;
}

} // namespace

access_store::access_store(std::unique_ptr<known_access> known) : known_(std::move(known)) {}

access_store::~access_store() = default;

std::unique_ptr<access_store> access_store::open(const std::string& state_directory, int busy_ms,
                                                 std::string* problem) {
    if (!make_directory(state_directory, problem))
        return nullptr;
    auto known = std::make_unique<known_access>();
    known->kept = database::open(state_directory + "/" + database_name, busy_ms, problem);
    if (!known->kept || !prepare_patiently(*known->kept, busy_ms, problem) || !read_access(*known, problem))
        return nullptr;
    known->kept->keep_place();
    return std::unique_ptr<access_store>(new access_store(std::move(known)));
}

std::string access_store::add(const token& wish, std::int64_t now, std::string* problem) {
    *problem = token_problem(wish);
    if (!problem->empty())
        return {};
    std::string text = std::string(token_text_begin) + new_secret();
    const std::string hash = hash_of(text);
    const std::string routers = joined(wish.routers);
    const std::string outputs = wish.outputs.text();
    const std::string inputs = wish.inputs.text();
    const auto steps = [&] {
        std::int64_t same = 0;
        std::int64_t all = 0;
        if (!known_->kept->read(
                "SELECT count(*) FROM tokens WHERE name = ?", {wish.name},
                [&](const sql_row& row) { same = row.number(0); }, problem) ||
            !known_->kept->number("SELECT count(*) FROM tokens", &all, problem))
            return false;
        if (same > 0)
            *problem =
                "there is a token \"" + wish.name + "\" already; possible: another name, or remove it first";
        else if (all >= static_cast<std::int64_t>(tokens_limit))
            *problem = "there are " + std::to_string(tokens_limit) +
                       " tokens already; possible: remove others first";
        else
            return known_->kept->change(
                "INSERT INTO tokens (name, hash, role, routers, outputs, inputs, created) VALUES (?, ?, ?, "
                "?, ?, "
                "?, ?)",
                {wish.name, blob{hash}, role_word(wish.right), routers, outputs, inputs, now}, problem);
        return false;
    };
    // What cannot be read now is read by the next look.
    std::string later;
    if (!known_->kept->transaction(steps, problem))
        return {};
    if (!read_access(*known_, &later))
        known_->data_version = 0;
    return text;
}

std::vector<token> access_store::list() const {
    std::vector<token> found;
    for (const auto& [hash, one] : known_->tokens)
        found.push_back(*one);
    std::sort(found.begin(), found.end(), [](const token& a, const token& b) { return a.name < b.name; });
    return found;
}

bool access_store::remove(const std::string& name, std::string* problem) {
    std::int64_t removed = 0;
    const auto steps = [&] {
        const bool changed = known_->kept->change("DELETE FROM tokens WHERE name = ?", {name}, problem);
        removed = known_->kept->changed_rows();
        return changed;
    };
    if (!known_->kept->transaction(steps, problem))
        return false;
    if (removed == 0) {
        *problem = "there is no token of that name; possible: those that `token list` shows";
        return false;
    }
    std::string later;
    if (!read_access(*known_, &later))
        known_->data_version = 0;
    return true;
}

std::shared_ptr<const token> access_store::of_text(std::string_view text) const {
    if (text.size() != token_text_begin.size() + secret_text_size)
        return nullptr;
    const auto found = known_->tokens.find(hash_of(text));
    return found == known_->tokens.end() ? nullptr : found->second;
}

access_news access_store::look(std::int64_t now) {
    database& kept = *known_->kept;
    std::int64_t data_version = known_->data_version;
    std::string problem, later;
    kept.forget_busy();
    if (kept.number("PRAGMA data_version", &data_version, &problem) && data_version != known_->data_version)
        read_access(*known_, &problem);
    end_old_sessions(now);
    write_ended(&later); // else with one of the next looks
    prolong_used_sessions(now, &later);
    // Who writes is done soon.
    known_->busy_looks = kept.was_busy() ? known_->busy_looks + 1 : 0;
    if (known_->busy_looks > 0 && known_->busy_looks <= busy_looks_limit)
        problem.clear();
    if (problem.empty() && known_->busy_looks > busy_looks_limit)
        problem = later;
    if (problem.empty() && !kept.write_problem().empty()) {
        if (++known_->failed_looks % (write_probe_period_ms / access_look_period_ms) == 0)
            kept.probe_writing();
        problem = kept.write_problem();
    }
    if (const std::string read_only = kept.read_only_problem(); !read_only.empty())
        problem = read_only;
    if (!kept.is_in_place())
        problem = kept.place_problem();
    access_news news = std::move(known_->news);
    known_->news = {};
    news.problem = problem;
    return news;
}

void access_store::wait_no_more() {
    known_->kept->wait_no_more();
}

bool access_store::is_busy() const {
    return known_->kept->was_busy();
}

database& access_store::kept() {
    return *known_->kept;
}

} // namespace gateway
