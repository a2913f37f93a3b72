#include "history_schema.h"

#include "gateway/access/schema_steps.h"
#include "gateway/settings/limits.h"

#include <array>

namespace gateway {
namespace {

// This is "vrdh".
constexpr std::int64_t application_id = 0x76726468;

constexpr std::array<const char*, history_schema_version> steps = {
    // Words: `kind` is an entry_kind. `epoch` holds the sixteen digits as a number, 0 for none, and
    // `number` is 0 where there is none. `share` says whose room an entry takes: 0 the common one, 1 that of
    // refused logins, 2 that of other refusals. Of a driver's record all up to `read_to` is here or was told
    // as missing. A run is one start of the gateway: its process and when it began.
    R"(CREATE TABLE entries (
         id INTEGER PRIMARY KEY,
         time INTEGER NOT NULL,
         kind INTEGER NOT NULL,
         router TEXT NOT NULL,
         output INTEGER NOT NULL,
         input INTEGER NOT NULL,
         level TEXT NOT NULL,
         who TEXT NOT NULL,
         through TEXT NOT NULL,
         claims TEXT NOT NULL,
         user INTEGER NOT NULL,
         process INTEGER NOT NULL,
         address TEXT NOT NULL,
         shown_before TEXT NOT NULL,
         shown_after TEXT NOT NULL,
         result TEXT NOT NULL,
         reason TEXT NOT NULL,
         milliseconds INTEGER NOT NULL,
         count INTEGER NOT NULL,
         until INTEGER NOT NULL,
         epoch INTEGER NOT NULL,
         number INTEGER NOT NULL,
         share INTEGER NOT NULL,
         counted TEXT NOT NULL) STRICT;
       CREATE UNIQUE INDEX entries_once ON entries (router, epoch, number) WHERE number > 0;
       CREATE UNIQUE INDEX entries_counted ON entries (counted) WHERE counted <> '';
       CREATE INDEX entries_of_share ON entries (share, time) WHERE share > 0;
       CREATE INDEX entries_by_time ON entries (time);
       CREATE INDEX entries_of_output ON entries (router, output, time);
       CREATE INDEX entries_of_router ON entries (router, time);
       CREATE INDEX entries_of_who ON entries (who, time);
       CREATE TABLE records (
         router TEXT PRIMARY KEY,
         epoch INTEGER NOT NULL,
         read_to INTEGER NOT NULL) STRICT, WITHOUT ROWID;
       CREATE TABLE runs (
         id INTEGER PRIMARY KEY,
         began INTEGER NOT NULL,
         process INTEGER NOT NULL,
         user INTEGER NOT NULL) STRICT;
       PRAGMA application_id = 1987208296;
       PRAGMA user_version = 1;)",

    // Histories of several sites. `site` is empty for what happened here, else whose entry it is. Each site
    // numbers its own: `site_number` counts on from start to start, and `site_epoch` is another one with each
    // start, so that a history that came back from a backup tells no two things under one number. -1: it was
    // there before sites were told; 0: it may still change. `places` has up to where something was done:
    // "numbered", "sent" to the broker, and "read" of the stream that the broker made at `mark`.
    R"(ALTER TABLE entries ADD COLUMN site TEXT NOT NULL DEFAULT '';
       ALTER TABLE entries ADD COLUMN site_epoch INTEGER NOT NULL DEFAULT 0;
       ALTER TABLE entries ADD COLUMN site_number INTEGER NOT NULL DEFAULT -1;
       CREATE UNIQUE INDEX entries_of_site ON entries (site, site_epoch, site_number) WHERE site <> '';
       CREATE INDEX entries_to_send ON entries (site_number) WHERE site = '' AND site_number > 0;
       CREATE INDEX entries_to_number ON entries (time) WHERE site_number = 0;
       CREATE TABLE places (
         name TEXT PRIMARY KEY,
         number INTEGER NOT NULL,
         mark TEXT NOT NULL) STRICT, WITHOUT ROWID;
       PRAGMA user_version = 2;)",

    // What other sites tell is removed before what this one has done. `places` has more: "stored", the place
    // in
    // the broker's stream of what was "sent"; "of SITE", the newest number that came from there; "trimmed
    // SHARE", the time up to which entries of others were removed.
    R"(CREATE INDEX entries_of_others ON entries (share, time) WHERE site <> '';
       PRAGMA user_version = 3;)",
};
static_assert(application_id == 1987208296);

} // namespace

bool bring_history_to_version(database& kept, int version, std::string* problem) {
    return bring_along(kept, {application_id, steps}, version, problem);
}

// FULL: a batch that was written is there also when the power fails. auto_vacuum, before any table is made:
// the file becomes smaller when less is to be kept.
std::unique_ptr<database> open_history(const std::string& state_directory, std::string* problem) {
    auto kept = database::open(state_directory + "/" + history_file_name, command_database_busy_ms, problem);
    std::string mode;
    if (!kept || !kept->script("PRAGMA auto_vacuum = INCREMENTAL", problem) ||
        !kept->read(
            "PRAGMA journal_mode = WAL", {}, [&](const sql_row& row) { mode = row.text(0); }, problem))
        return nullptr;
    if (mode != "wal") {
        *problem = kept->path() + " cannot be kept safe on this file system; possible: a local disk";
        return nullptr;
    }
    if (!kept->script("PRAGMA synchronous = FULL; PRAGMA journal_size_limit = 4194304", problem) ||
        !bring_history_to_version(*kept, history_schema_version, problem))
        return nullptr;
    return kept;
}

} // namespace gateway
