#include "schema.h"

#include "schema_steps.h"

#include <array>

namespace gateway {
namespace {

// A database of the gateway says so itself; this is "vrdx".
constexpr std::int64_t application_id = 0x76726478;

// Step n leads from version n to n + 1. What was once released is never changed, only continued.
constexpr std::array<const char*, schema_version> steps = {
    // Ids are never used again: AUTOINCREMENT. Lists are texts, routers divided by commas.
    R"(CREATE TABLE tokens (
         id INTEGER PRIMARY KEY AUTOINCREMENT,
         name TEXT NOT NULL UNIQUE,
         hash BLOB NOT NULL UNIQUE,
         role TEXT NOT NULL,
         routers TEXT NOT NULL,
         outputs TEXT NOT NULL,
         inputs TEXT NOT NULL,
         created INTEGER NOT NULL) STRICT;
       CREATE TABLE sessions (
         id INTEGER PRIMARY KEY AUTOINCREMENT,
         hash BLOB NOT NULL UNIQUE,
         token INTEGER NOT NULL REFERENCES tokens (id) ON DELETE CASCADE,
         until INTEGER NOT NULL) STRICT;
       CREATE INDEX sessions_of_token ON sessions (token);
       PRAGMA application_id = 1987208312;
       PRAGMA user_version = 1;)",
    // The owner is no reference: a lock outlives its token.
    R"(CREATE TABLE locks (
         router TEXT NOT NULL,
         output INTEGER NOT NULL,
         state TEXT NOT NULL,
         owner INTEGER NOT NULL,
         owner_name TEXT NOT NULL,
         reason TEXT NOT NULL,
         since INTEGER NOT NULL,
         PRIMARY KEY (router, output)) STRICT, WITHOUT ROWID;
       PRAGMA user_version = 2;)",
    // Sources are texts: "7" the number of an input, ":Name" its name, "" a level that is not named. Takes
    // stand in the order of `place`.
    R"(CREATE TABLE presets (
         name TEXT PRIMARY KEY,
         author TEXT NOT NULL,
         changed INTEGER NOT NULL) STRICT, WITHOUT ROWID;
       CREATE TABLE preset_takes (
         preset TEXT NOT NULL REFERENCES presets (name) ON DELETE CASCADE,
         place INTEGER NOT NULL,
         router TEXT NOT NULL,
         output INTEGER NOT NULL,
         video TEXT NOT NULL,
         audio TEXT NOT NULL,
         PRIMARY KEY (preset, place)) STRICT, WITHOUT ROWID;
       PRAGMA user_version = 3;)",
    // Sources that a locked output showed last: inputs, 0 for none, -1 where nobody knows. A session that
    // lasts for more than half a day is a kept one.
    R"(ALTER TABLE locks ADD COLUMN video INTEGER NOT NULL DEFAULT -1;
       ALTER TABLE locks ADD COLUMN audio INTEGER NOT NULL DEFAULT -1;
       ALTER TABLE sessions ADD COLUMN kept INTEGER NOT NULL DEFAULT 0;
       UPDATE sessions SET kept = 1 WHERE until > unixepoch() + 43200;
       PRAGMA user_version = 4;)",
    // `owner` is the token's id, 0 for who asks without one; `token` is the same, null for 0, and takes the
    // layout along when the token is removed. What recalls have changed: `shown` before, `brought` by them.
    R"(CREATE TABLE layouts (
         owner INTEGER NOT NULL,
         router TEXT NOT NULL,
         token INTEGER REFERENCES tokens (id) ON DELETE CASCADE,
         changed INTEGER NOT NULL,
         bytes INTEGER NOT NULL,
         content TEXT NOT NULL,
         PRIMARY KEY (owner, router)) STRICT;
       CREATE INDEX layouts_of_token ON layouts (token);
       CREATE INDEX layouts_by_size ON layouts (bytes, owner, router);
       CREATE TABLE recalls (
         preset TEXT PRIMARY KEY REFERENCES presets (name) ON DELETE CASCADE,
         time INTEGER NOT NULL) STRICT, WITHOUT ROWID;
       CREATE TABLE recalled_outputs (
         preset TEXT NOT NULL REFERENCES recalls (preset) ON DELETE CASCADE,
         place INTEGER NOT NULL,
         router TEXT NOT NULL,
         output INTEGER NOT NULL,
         shown_video INTEGER NOT NULL,
         shown_audio INTEGER NOT NULL,
         brought_video INTEGER NOT NULL,
         brought_audio INTEGER NOT NULL,
         PRIMARY KEY (preset, place)) STRICT, WITHOUT ROWID;
       PRAGMA user_version = 5;)",
};
static_assert(application_id == 1987208312);

} // namespace

bool bring_to_version(database& kept, int version, std::string* problem) {
    return bring_along(kept, {application_id, steps}, version, problem);
}

} // namespace gateway
