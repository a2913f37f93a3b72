#include "gateway/access/database.h"

#include "gateway/access/lock_table.h"
#include "gateway/access/schema.h"
#include "opened_store.h"

#include <cstdio>
#include <fstream>
#include <sqlite3.h>

using gateway::database;
using gateway::schema_version;

namespace {

// What an SQLite of its own does to the file.
void run_sql(const std::string& path, const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
}

std::int64_t number(database& kept, const char* sql) {
    std::int64_t value = -1;
    std::string problem;
    EXPECT_TRUE(kept.number(sql, &value, &problem)) << problem;
    return value;
}

const std::string damaged =
    " is damaged or no database of the gateway; possible: put back a copy, or move it away "
    "to begin without tokens and locks";

} // namespace

TEST(Database, IsSafeOverAPowerCut) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string mode;
    std::string problem;
    ASSERT_TRUE(store->kept().read(
        "PRAGMA journal_mode", {}, [&](const gateway::sql_row& row) { mode = row.text(0); }, &problem));
    EXPECT_EQ(mode, "wal");
    EXPECT_EQ(number(store->kept(), "PRAGMA synchronous"), 2) << "FULL";
    EXPECT_EQ(number(store->kept(), "PRAGMA foreign_keys"), 1);
}

TEST(Database, OfAnEarlierVersionIsBroughtForward) {
    const temporary_directory state;
    std::string problem;
    {
        const auto earlier = database::open(state.file("access.db"), 1000, &problem);
        ASSERT_TRUE(earlier) << problem;
        ASSERT_TRUE(gateway::bring_to_version(*earlier, 1, &problem)) << problem;
        ASSERT_EQ(number(*earlier, "PRAGMA user_version"), 1);
        ASSERT_TRUE(
            earlier->script("INSERT INTO tokens (name, hash, role, routers, outputs, inputs, created) "
                            "VALUES ('desk', x'00', 'view', 'studio', '1-2', '', 5)",
                            &problem))
            << problem;
    }
    const auto store = opened(state.path());
    EXPECT_EQ(number(store->kept(), "PRAGMA user_version"), schema_version);
    ASSERT_EQ(store->list().size(), 1U);
    EXPECT_EQ(store->list()[0].name, "desk");
    EXPECT_EQ(store->list()[0].outputs.text(), "1-2");
    EXPECT_TRUE(gateway::lock_table::open(*store, &problem)) << problem;
}

TEST(Database, OfEachEarlierVersionHasAllTablesOfThisOne) {
    for (int version = 1; version < schema_version; ++version) {
        const temporary_directory state;
        std::string problem;
        {
            const auto earlier = database::open(state.file("access.db"), 1000, &problem);
            ASSERT_TRUE(earlier) << problem;
            ASSERT_TRUE(gateway::bring_to_version(*earlier, version, &problem)) << problem;
            ASSERT_EQ(number(*earlier, "PRAGMA user_version"), version);
        }
        const auto store = opened(state.path());
        EXPECT_EQ(number(store->kept(), "PRAGMA user_version"), schema_version) << version;
        for (const char* sql : {"SELECT count(*) FROM tokens", "SELECT count(*) FROM sessions",
                                "SELECT count(*) FROM locks", "SELECT count(*) FROM presets",
                                "SELECT count(*) FROM preset_takes", "SELECT count(*) FROM layouts",
                                "SELECT count(*) FROM recalls", "SELECT count(*) FROM recalled_outputs"})
            EXPECT_EQ(number(store->kept(), sql), 0) << sql << " from version " << version;
    }
}

TEST(Database, OfATimeWithoutKeptSessionsKnowsThemByHowLongTheyLast) {
    const temporary_directory state;
    std::string problem;
    {
        const auto earlier = database::open(state.file("access.db"), 1000, &problem);
        ASSERT_TRUE(earlier) << problem;
        ASSERT_TRUE(gateway::bring_to_version(*earlier, 3, &problem)) << problem;
        ASSERT_TRUE(earlier->script(
            "INSERT INTO tokens (name, hash, role, routers, outputs, inputs, created) "
            "VALUES ('desk', x'00', 'view', '', '', '', 5);"
            "INSERT INTO sessions (hash, token, until) VALUES (x'01', 1, unixepoch() + 2000000);"
            "INSERT INTO sessions (hash, token, until) VALUES (x'02', 1, unixepoch() + 40000);"
            "INSERT INTO locks (router, output, state, owner, owner_name, reason, since) "
            "VALUES ('studio', 1, 'lock', 1, 'desk', '', 5)",
            &problem))
            << problem;
    }
    const auto store = opened(state.path());
    EXPECT_EQ(number(store->kept(), "SELECT kept FROM sessions WHERE hash = x'01'"), 1);
    EXPECT_EQ(number(store->kept(), "SELECT kept FROM sessions WHERE hash = x'02'"), 0);
    const auto locks = gateway::lock_table::open(*store, &problem);
    ASSERT_TRUE(locks) << problem;
    ASSERT_NE(locks->of("studio", 1), nullptr);
    EXPECT_EQ(locks->of("studio", 1)->shown, gateway::locked_sources()) << "nobody knows";
}

TEST(Database, OfANewerVersionIsLeftAlone) {
    const temporary_directory state;
    add(*opened(state.path()), wish("desk"));
    const std::string newest = std::to_string(schema_version), newer = std::to_string(schema_version + 1);
    run_sql(state.file("access.db"), "PRAGMA user_version = " + newer);
    EXPECT_EQ(problem_of_opening(state.path()),
              state.file("access.db") + " is of version " + newer +
                  ", written by a newer vrdx_gateway; possible: versions up to " + newest);
    run_sql(state.file("access.db"), "PRAGMA user_version = " + newest);
    EXPECT_EQ(opened(state.path())->list().size(), 1U);
}

TEST(Database, OfAnotherProgramIsLeftAlone) {
    const temporary_directory state;
    run_sql(state.file("access.db"), "CREATE TABLE theirs (a)");
    const std::string problem =
        state.file("access.db") + " is a database of another program; possible: another state directory";
    EXPECT_EQ(problem_of_opening(state.path()), problem);
    run_sql(state.file("access.db"), "PRAGMA user_version = 2");
    EXPECT_EQ(problem_of_opening(state.path()), problem);
}

TEST(Database, ThatIsNoneIsToldInOneSentence) {
    const temporary_directory state;
    std::ofstream(state.file("access.db")) << std::string(8192, 'x');
    EXPECT_EQ(problem_of_opening(state.path()), state.file("access.db") + damaged);
}

TEST(Database, WithADamagedPageIsToldInOneSentence) {
    const temporary_directory state;
    {
        const auto store = opened(state.path());
        for (int i = 0; i < 100; ++i)
            add(*store, wish("t" + std::to_string(i)));
    }
    const std::string path = state.file("access.db");
    ASSERT_FALSE(std::filesystem::exists(path + "-wal")) << "all is in the file itself";
    const auto size = std::filesystem::file_size(path);
    ASSERT_GT(size, 16384U);
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        file << std::string(size - 4096, '\x55');
    }
    const std::string problem = problem_of_opening(state.path());
    EXPECT_TRUE(problem.starts_with(path + " is damaged")) << problem;
    EXPECT_EQ(problem.find('\n'), std::string::npos);
}

TEST(Database, CutShortIsToldInOneSentence) {
    const temporary_directory state;
    add(*opened(state.path()), wish("desk"));
    std::filesystem::resize_file(state.file("access.db"), 6000);
    const std::string problem = problem_of_opening(state.path());
    EXPECT_TRUE(problem.starts_with(state.file("access.db") + " is damaged")) << problem;
}

TEST(Database, ARowThatNobodyOfUsWroteAllowsNothing) {
    const temporary_directory state;
    {
        const auto store = opened(state.path());
        add(*store, wish("role"));
        add(*store, wish("list"));
        add(*store, wish("good"));
    }
    run_sql(state.file("access.db"), "UPDATE tokens SET role = 'root' WHERE name = 'role';"
                                     "UPDATE tokens SET outputs = 'all' WHERE name = 'list'");
    for (const gateway::token& one : opened(state.path())->list())
        EXPECT_EQ(one.right, one.name == "good" ? gateway::role::operate : gateway::role::none) << one.name;
}

TEST(Database, ATransactionIsWholeOrNotAtAll) {
    const temporary_directory state;
    const auto store = opened(state.path());
    database& kept = store->kept();
    std::string problem;
    const auto add_lock = [&] {
        return kept.change("INSERT INTO locks (router, output, state, owner, owner_name, reason, since) "
                           "VALUES ('r', 1, 'lock', 1, 'desk', ?, 0)",
                           {std::string_view()}, &problem);
    };
    EXPECT_FALSE(kept.transaction([&] { return add_lock() && add_lock(); }, &problem));
    EXPECT_EQ(number(kept, "SELECT count(*) FROM locks"), 0);
    EXPECT_TRUE(kept.transaction(add_lock, &problem)) << problem;
    EXPECT_EQ(number(kept, "SELECT count(*) FROM locks"), 1);
}

TEST(Database, AWrongStatementIsAProblemAndNoCrash) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string problem;
    EXPECT_FALSE(store->kept().change("DELETE FROM nobody", {}, &problem));
    EXPECT_EQ(problem, state.file("access.db") + " cannot be used: no such table: nobody");
}

TEST(Database, ThatWasRemovedOrReplacedIsNotWritten) {
    const temporary_directory state;
    const std::string path = state.file("access.db");
    const auto store = opened(state.path());
    const auto locks = [&] {
        std::string problem;
        auto table = gateway::lock_table::open(*store, &problem);
        EXPECT_TRUE(table) << problem;
        return table;
    }();
    gateway::token desk = wish("desk");
    add(*store, desk);
    const auto lock = [&](int output) {
        return locks->set("studio", output, gateway::lock_order::lock, desk, "", noon);
    };
    ASSERT_EQ(lock(1).result, gateway::lock_answer::kind::done);
    EXPECT_EQ(store->look(noon).problem, "");

    ASSERT_EQ(std::rename(path.c_str(), (path + ".before").c_str()), 0);
    EXPECT_EQ(lock(2).result, gateway::lock_answer::kind::failed);
    EXPECT_EQ(lock(2).problem,
              path +
                  " was removed or replaced while it was in use: nothing is written, and what was known goes "
                  "on; possible: put the same file back, or start the gateway anew with what is there");
    EXPECT_EQ(store->look(noon).problem, lock(2).problem);
    std::ofstream(path) << "another file";
    EXPECT_EQ(store->look(noon).problem, lock(2).problem);
    EXPECT_NE(locks->of("studio", 1), nullptr);
    EXPECT_EQ(locks->of("studio", 2), nullptr);

    ASSERT_EQ(std::rename((path + ".before").c_str(), path.c_str()), 0);
    EXPECT_EQ(store->look(noon).problem, "");
    EXPECT_EQ(lock(2).result, gateway::lock_answer::kind::done);
}

TEST(Database, AWriteThatFailedIsToldUntilOneWorks) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string problem;
    // As on a full disk: the file may not have another page.
    std::int64_t pages = 0;
    ASSERT_TRUE(store->kept().number("PRAGMA page_count", &pages, &problem)) << problem;
    const std::string limit = "PRAGMA max_page_count = " + std::to_string(pages);
    ASSERT_TRUE(store->kept().script(limit.c_str(), &problem)) << problem;
    gateway::token large = wish("large");
    large.routers = {std::string(200, 'r')};
    std::string failed;
    for (int i = 0; failed.empty() && i < 1000; ++i) {
        large.name = "large" + std::to_string(i);
        if (store->add(large, noon, &problem).empty())
            failed = problem;
    }
    EXPECT_EQ(failed, state.file("access.db") + " cannot be used: the disk is full");
    EXPECT_EQ(store->look(noon).problem, failed);
    EXPECT_EQ(store->look(noon).problem, failed);
    ASSERT_TRUE(store->kept().script("PRAGMA max_page_count = 100000", &problem)) << problem;
    large.name = "now there is room";
    EXPECT_NE(store->add(large, noon, &problem), "") << problem;
    EXPECT_EQ(store->look(noon).problem, "");
}

TEST(Database, IsTriedNowAndThenAfterAWriteThatFailed) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string problem;
    ASSERT_TRUE(store->kept().script("PRAGMA query_only = 1", &problem)) << problem;
    EXPECT_EQ(store->add(wish("desk"), noon, &problem), "");
    for (int look = 0; look < 50; ++look)
        EXPECT_NE(store->look(noon).problem, "");
    ASSERT_TRUE(store->kept().script("PRAGMA query_only = 0", &problem)) << problem;
    std::string told = "told";
    for (int look = 0; look < 50 && !told.empty(); ++look)
        told = store->look(noon).problem;
    EXPECT_EQ(told, "");
}
