#include "gateway/audit/history_schema.h"
#include "gateway/settings/limits.h"
#include "history_fixture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <unistd.h>

using namespace gateway;

namespace {

using HistoryFile = kept_history;
using HistoryQuery = kept_history;

std::vector<std::int64_t> numbers_of(const std::vector<history_entry>& entries) {
    std::vector<std::int64_t> numbers;
    for (const history_entry& each : entries)
        numbers.push_back(each.number);
    return numbers;
}

std::string own_name() {
    const passwd* const found = getpwuid(geteuid());
    return found == nullptr ? "user " + std::to_string(geteuid()) : found->pw_name;
}

history_entry recorded(std::int64_t process, std::int64_t user, std::int64_t time_us) {
    history_entry entry = take_entry("studio", 1, time_us);
    entry.time_us = time_us;
    entry.by = entry.through = "";
    entry.claims = "desk";
    entry.process = process;
    entry.user = user;
    return entry;
}

} // namespace

// --- versions ----------------------------------------------------------------------------------------------

TEST(HistorySchema, EachEarlierVersionIsBroughtForward) {
    for (int version = 0; version <= history_schema_version; ++version) {
        const temporary_directory state;
        std::string problem;
        {
            const auto earlier = database::open(state.file("history.db"), 1000, &problem);
            ASSERT_TRUE(earlier && bring_history_to_version(*earlier, version, &problem)) << problem;
            std::int64_t found = -1;
            ASSERT_TRUE(earlier->number("PRAGMA user_version", &found, &problem));
            ASSERT_EQ(found, version);
            ASSERT_TRUE(version == 0 || earlier->script("INSERT INTO records (router, epoch, read_to) "
                                                        "VALUES ('studio', 5, 7)",
                                                        &problem))
                << problem;
        }
        const auto now = open_history(state.path(), &problem);
        ASSERT_TRUE(now) << problem;
        std::int64_t found = 0, read_to = 0;
        EXPECT_TRUE(now->number("PRAGMA user_version", &found, &problem));
        EXPECT_EQ(found, history_schema_version);
        EXPECT_TRUE(now->number("SELECT read_to FROM records", &read_to, &problem));
        EXPECT_EQ(read_to, version > 0 ? 7 : 0);
    }
}

TEST(HistorySchema, NewerVersionAndAnotherProgramsDatabaseAreRefused) {
    for (const char* script : {"PRAGMA user_version = 1000", "PRAGMA application_id = 1"}) {
        const temporary_directory state;
        std::string problem;
        {
            const auto made = open_history(state.path(), &problem);
            ASSERT_TRUE(made && made->script(script, &problem)) << problem;
        }
        EXPECT_FALSE(open_history(state.path(), &problem));
        EXPECT_NE(problem.find("possible: "), std::string::npos) << problem;
    }
}

// --- entries -----------------------------------------------------------------------------------------------

TEST_F(HistoryFile, EntryIsReadAsItWasWritten) {
    history_entry entry = take_entry("studio", 3, 7, epoch_b);
    entry.input = 9;
    entry.level = "video,audio";
    entry.claims = "a claim";
    entry.user = 0;
    entry.process = 4711;
    entry.address = "192.0.2.1";
    entry.before = "3,4";
    entry.after = "5,?";
    entry.reason = "why \xc3\xbc";
    entry.milliseconds = 0;
    entry.count = 12;
    entry.until_us = noon_us + 60;
    ASSERT_EQ(write({entry}).size(), 1U);
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 1U);
    const history_entry& found = entries[0];
    EXPECT_GT(found.id, 0);
    EXPECT_EQ(std::tie(found.time_us, found.kind, found.router, found.output, found.input, found.level),
              std::tie(entry.time_us, entry.kind, entry.router, entry.output, entry.input, entry.level));
    EXPECT_EQ(std::tie(found.by, found.through, found.claims, found.user, found.process, found.address),
              std::tie(entry.by, entry.through, entry.claims, entry.user, entry.process, entry.address));
    EXPECT_EQ(std::tie(found.before, found.after, found.result, found.reason, found.milliseconds),
              std::tie(entry.before, entry.after, entry.result, entry.reason, entry.milliseconds));
    EXPECT_EQ(std::tie(found.count, found.until_us, found.epoch, found.number),
              std::tie(entry.count, entry.until_us, entry.epoch, entry.number));
}

TEST_F(HistoryFile, TakeOfARecordIsThereOnce) {
    EXPECT_EQ(write({take_entry("studio", 1, 1), take_entry("studio", 1, 2)}).size(), 2U);
    EXPECT_EQ(write({take_entry("studio", 1, 2), take_entry("studio", 1, 3)}).size(), 1U);
    EXPECT_EQ(write({take_entry("studio", 1, 2, epoch_b), take_entry("gallery", 1, 2)}).size(), 2U)
        << "another start of the driver, and another driver, have numbers of their own";
    EXPECT_EQ(read_all().size(), 5U);
}

TEST_F(HistoryFile, LongTextsAreCut) {
    history_entry entry = take_entry("studio", 1, 1);
    entry.reason = std::string(history_text_limit * 3, 'x');
    write({entry});
    EXPECT_EQ(read_all()[0].reason.size(), history_text_limit);
}

TEST_F(HistoryFile, TakeOfAGatewayIsOfItsTokenAndOfAnyOtherClientOfItsUser) {
    const auto user = static_cast<std::int64_t>(geteuid());
    file = opened({200, user, noon_us + 1000});
    file = opened({300, user, noon_us + 2000});
    write({recorded(200, user, noon_us + 1500), recorded(300, user, noon_us + 2500),
           recorded(200, user, noon_us + 2600), recorded(300, user + 1, noon_us + 2700)});
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[3].through, through_gateway);
    EXPECT_EQ(entries[3].by, "desk");
    EXPECT_EQ(entries[3].claims, "");
    EXPECT_EQ(entries[2].through, through_gateway);
    EXPECT_EQ(entries[1].through, through_driver) << "that gateway had ended; another process has its number";
    EXPECT_EQ(entries[1].by, own_name());
    EXPECT_EQ(entries[1].claims, "desk");
    EXPECT_EQ(entries[0].through, through_driver) << "another user";
}

TEST_F(HistoryFile, EqualRefusalsAreAddedToTheirEntry) {
    counted_entry counted{"one", take_entry("studio", 1, 0), false};
    counted.entry.count = 3;
    EXPECT_EQ(write({counted}).size(), 1U);
    counted.entry.count = 4;
    counted.entry.until_us = noon_us + 9;
    EXPECT_EQ(write({counted}).size(), 0U);
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].count, 7);
    EXPECT_EQ(entries[0].until_us, noon_us + 9);
}

// --- gaps --------------------------------------------------------------------------------------------------

TEST_F(HistoryFile, WhatTheRecordNoLongerHasIsAGapOnce) {
    write({mark_of("studio", epoch_a, 1), take_entry("studio", 1, 1), take_entry("studio", 1, 2)});
    const auto written = write({mark_of("studio", epoch_a, 6), take_entry("studio", 1, 6)});
    ASSERT_EQ(written.size(), 2U);
    EXPECT_EQ(written[0].kind, entry_kind::gap);
    EXPECT_EQ(written[0].count, 3);
    EXPECT_EQ(written[0].reason, "takes 3 to 5 of the driver's record were no longer there to be read");
    EXPECT_TRUE(write({mark_of("studio", epoch_a, 6)}).empty());
    EXPECT_TRUE(write({mark_of("studio", epoch_a, 7)}).empty());
}

TEST_F(HistoryFile, FirstSightOfADriverWhoseRecordIsCutIsAGap) {
    const auto written = write({mark_of("studio", epoch_a, 101)});
    ASSERT_EQ(written.size(), 1U);
    EXPECT_EQ(written[0].count, 100);
    EXPECT_TRUE(write({mark_of("studio", epoch_a, 101)}).empty());
}

TEST_F(HistoryFile, DriverStartedAnewIsAGapUnlessItsEndWasHeard) {
    write({mark_of("studio", epoch_a, 1), take_entry("studio", 1, 1)});
    const auto written = write({mark_of("studio", epoch_b, 1)});
    ASSERT_EQ(written.size(), 1U);
    EXPECT_EQ(written[0].count, 0) << "nobody knows how many";
    EXPECT_EQ(written[0].epoch, epoch_b);
    EXPECT_TRUE(write({mark_of("studio", epoch_b, 1)}).empty());
    EXPECT_TRUE(write({mark_of("studio", epoch_a, 1, true)}).empty());
}

// --- what is removed ---------------------------------------------------------------------------------------

TEST_F(HistoryFile, EntriesBeyondTheDaysAreRemoved) {
    history_entry old = take_entry("studio", 1, 1);
    old.time_us = noon_us - 10 * day_us - 1;
    write({old, take_entry("studio", 1, 2)});
    bool more = true;
    std::string problem;
    ASSERT_TRUE(file->trim({10, history_usual_bytes}, noon_us, &more, &problem)) << problem;
    EXPECT_FALSE(more);
    EXPECT_EQ(numbers_of(read_all()), std::vector<std::int64_t>{2});
    ASSERT_TRUE(file->trim({0, 0}, noon_us + 1000 * day_us, &more, &problem));
    EXPECT_EQ(read_all().size(), 1U) << "without a history nothing is written, and nothing removed";
}

TEST_F(HistoryFile, OldestGoWhenTheFileHasTooManyBytesAndItBecomesSmaller) {
    std::vector<history_item> batch;
    for (std::int64_t number = 1; number <= 40000; ++number) {
        history_entry entry = take_entry("studio", 1, number);
        entry.reason = std::string(200, 'x');
        batch.emplace_back(entry);
    }
    write(batch);
    constexpr std::int64_t most_bytes = 4000000;
    bool more = true;
    std::string problem;
    int turns = 0;
    for (; more && turns < 1000; ++turns)
        ASSERT_TRUE(file->trim({90, most_bytes}, noon_us, &more, &problem)) << problem;
    EXPECT_FALSE(more);
    const auto entries = read_all();
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries.front().number, 40000) << "the newest stays";
    EXPECT_EQ(entries.back().number, 40001 - static_cast<std::int64_t>(entries.size())) << "without a hole";
    EXPECT_LT(entries.size(), 20000U);
    file.reset();
    std::ifstream bytes(state.file("history.db"), std::ios::ate | std::ios::binary);
    EXPECT_LE(static_cast<std::int64_t>(bytes.tellg()), most_bytes);
}

TEST_F(HistoryFile, RefusedLoginsEraseOneAnotherAlone) {
    std::vector<history_item> batch{take_entry("studio", 1, 1)};
    counted_entry refusal{"other", take_entry("studio", 1, 0), false};
    batch.emplace_back(refusal);
    constexpr std::int64_t beyond = 100;
    for (std::int64_t each = 0; each < history_counted_rows_limit + beyond; ++each) {
        counted_entry login{std::to_string(each), {}, true};
        login.entry.kind = entry_kind::login;
        login.entry.time_us = noon_us + each;
        batch.emplace_back(login);
    }
    write(batch);
    bool more = true;
    std::string problem;
    ASSERT_TRUE(file->trim({90, history_usual_bytes}, noon_us, &more, &problem)) << problem;
    const auto entries = read_all();
    const auto logins = std::count_if(entries.begin(), entries.end(), [](const history_entry& each) {
        return each.kind == entry_kind::login;
    });
    EXPECT_EQ(logins, history_counted_rows_limit);
    EXPECT_EQ(entries.size(), static_cast<std::size_t>(history_counted_rows_limit) + 2);
    EXPECT_EQ(entries.front().time_us, noon_us + history_counted_rows_limit + beyond - 1);
}

TEST_F(HistoryFile, RefusalsOfASmallHistoryEraseNoTakes) {
    constexpr std::int64_t takes = 5000, refusals = 20000;
    std::vector<history_item> batch;
    for (std::int64_t number = 1; number <= takes; ++number)
        batch.emplace_back(take_entry("studio", 1, number));
    for (std::int64_t each = 0; each < refusals; ++each)
        for (const bool is_login : {true, false}) {
            const std::string key = std::to_string(each) + (is_login ? " login" : " take");
            counted_entry refusal{key + std::string(200, 'k'), {}, is_login};
            refusal.entry.kind = is_login ? entry_kind::login : entry_kind::take;
            refusal.entry.time_us = noon_us + takes + each;
            refusal.entry.result = "refused";
            refusal.entry.reason = std::string(200, 'x');
            batch.emplace_back(refusal);
        }
    write(batch);
    batch.clear();
    ASSERT_GT(std::filesystem::file_size(state.file("history.db")) +
                  std::filesystem::file_size(state.file("history.db-wal")),
              static_cast<std::uintmax_t>(history_least_bytes))
        << "else nothing has to go";
    bool more = true;
    std::string problem;
    for (int turn = 0; more && turn < 1000; ++turn)
        ASSERT_TRUE(file->trim({90, history_least_bytes}, noon_us, &more, &problem)) << problem;
    EXPECT_FALSE(more);
    const auto entries = read_all();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(), [](const auto& each) { return each.number > 0; }),
              takes);
    const auto kept = static_cast<std::int64_t>(entries.size()) - takes;
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, 2 * refusals);
    EXPECT_EQ(entries.front().time_us, noon_us + takes + refusals - 1) << "the newest of them stay";
    file.reset();
    EXPECT_LE(std::filesystem::file_size(state.file("history.db")),
              static_cast<std::uintmax_t>(history_least_bytes));
}

// --- questions ---------------------------------------------------------------------------------------------

TEST_F(HistoryQuery, GivesTheNewestOfWhatIsAskedFor) {
    history_entry other = take_entry("gallery", 1, 5);
    other.by = "somebody";
    history_entry login;
    login.kind = entry_kind::login;
    login.time_us = noon_us + 9;
    write({take_entry("studio", 1, 3), take_entry("studio", 2, 4), other, login, take_entry("studio", 1, 1)});

    history_query query;
    query.limit = 10;
    EXPECT_EQ(numbers_of(read(query)), (std::vector<std::int64_t>{5, 4, 3, 1})) << "without the login";
    query.limit = 2;
    EXPECT_EQ(numbers_of(read(query)), (std::vector<std::int64_t>{5, 4}));
    query.limit = 10;
    query.routers = {"studio", "elsewhere"};
    EXPECT_EQ(numbers_of(read(query)), (std::vector<std::int64_t>{4, 3, 1}));
    query.output = 1;
    EXPECT_EQ(numbers_of(read(query)), (std::vector<std::int64_t>{3, 1}));
    query.since_us = noon_us + 2;
    EXPECT_EQ(numbers_of(read(query)), std::vector<std::int64_t>{3});
    query.since_us = 0;
    query.until_us = noon_us + 1;
    EXPECT_EQ(numbers_of(read(query)), std::vector<std::int64_t>{1});
    query = {};
    query.limit = 10;
    query.by = "somebody";
    EXPECT_EQ(numbers_of(read(query)), std::vector<std::int64_t>{5});
    query.by = "' OR 1 = 1 --";
    EXPECT_TRUE(read(query).empty());
    query = {};
    query.limit = 10;
    query.routers.emplace();
    EXPECT_TRUE(read(query).empty()) << "of no router";
}

TEST_F(HistoryQuery, NewestOfSeveralRoutersAreInOneOrder) {
    std::vector<history_item> batch;
    for (std::int64_t number = 1; number <= 30; ++number)
        batch.emplace_back(take_entry(number % 3 == 0 ? "studio" : "gallery", 1, number));
    write(batch);
    history_query query;
    query.routers = {"studio", "gallery"};
    query.limit = 4;
    EXPECT_EQ(numbers_of(read(query)), (std::vector<std::int64_t>{30, 29, 28, 27}));
}

TEST(HistoryQueryOfNone, HistoryThatIsNotThereIsNoProblem) {
    const temporary_directory state;
    std::string problem;
    EXPECT_FALSE(history_reading::open(state.path(), &problem));
    EXPECT_EQ(problem, "");
}
