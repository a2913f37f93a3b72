#include "gateway/audit/history_writer.h"

#include "gateway/audit/history_schema.h"
#include "gateway/settings/limits.h"
#include "history_fixture.h"
#include "wait_until.h"

#include <atomic>
#include <filesystem>

using namespace gateway;

namespace {

constexpr history_share usual{history_usual_days, history_usual_bytes};
// Young enough to be kept.
history_entry young_entry(std::int64_t number) {
    history_entry entry = take_entry("studio", 1, number);
    entry.time_us = microseconds_since_1970();
    return entry;
}

constexpr std::uint64_t patience_ms = 60000;

// A history whose directory comes later, as a disk that takes nothing at first.
class HistoryWriter : public testing::Test {
protected:
    temporary_directory above;
    const std::string state = above.file("state");
    std::atomic<int> news = 0;
    std::unique_ptr<history_writer> writer;

    void begin(const history_share& share = usual) {
        writer =
            std::make_unique<history_writer>(history_writer::place{state, ""}, share, [this] { ++news; });
    }
    void make_room() {
        std::filesystem::create_directory(state);
    }
    std::vector<history_entry> read_all() const {
        std::string problem;
        std::vector<history_entry> entries;
        history_query query;
        query.beyond_routers = true;
        query.limit = 1000000;
        const auto reading = history_reading::open(state, &problem);
        EXPECT_TRUE(!reading || reading->read(query, &entries, &problem)) << problem;
        EXPECT_EQ(problem, "");
        return entries;
    }
};

} // namespace

TEST_F(HistoryWriter, WhatWasPushedIsThereOnceItWasWaitedFor) {
    make_room();
    begin();
    for (std::int64_t number = 1; number <= 100; ++number)
        writer->push(young_entry(number));
    writer->wait_until_written(patience_ms);
    EXPECT_EQ(read_all().size(), 100U);
    EXPECT_EQ(writer->problem(), "");
}

TEST_F(HistoryWriter, EntryWithoutATimeIsOfNow) {
    make_room();
    begin();
    const std::int64_t before = microseconds_since_1970();
    writer->push(history_entry{});
    writer->wait_until_written(patience_ms);
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_GE(entries[0].time_us, before);
    EXPECT_LE(entries[0].time_us, microseconds_since_1970());
}

// Without it the gap would be older than anything that is kept.
TEST_F(HistoryWriter, GapOfADriverThatWasStartedAnewIsOfNow) {
    make_room();
    begin();
    const std::int64_t before = microseconds_since_1970();
    record_mark mark = mark_of("studio", epoch_a, 1);
    writer->push(mark);
    mark.epoch = epoch_b;
    mark.time_us = 0;
    writer->push(mark);
    writer->wait_until_written(patience_ms);
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].kind, entry_kind::gap);
    EXPECT_GE(entries[0].time_us, before);
}

TEST_F(HistoryWriter, WhatWaitsIsWrittenAtTheEnd) {
    make_room();
    begin();
    for (std::int64_t number = 1; number <= 3 * static_cast<std::int64_t>(history_batch_limit); ++number)
        writer->push(young_entry(number));
    writer.reset();
    EXPECT_EQ(read_all().size(), 3 * history_batch_limit);
}

TEST_F(HistoryWriter, DiskThatTakesNothingIsToldAndWhatWaitedIsWrittenAfterwards) {
    begin();
    wait_until("it is told", [&] { return !writer->problem().empty(); });
    writer->push(young_entry(1));
    writer->wait_until_written(patience_ms); // at once: nobody waits for such a disk
    EXPECT_NE(writer->problem(), "");
    make_room();
    wait_until("it is written", [&] { return writer->problem().empty(); });
    writer->wait_until_written(patience_ms);
    EXPECT_EQ(read_all().size(), 1U);
    EXPECT_FALSE(writer->has_lost_some());
    EXPECT_EQ(news, 2) << "once that it cannot be written, once that it can";
}

TEST_F(HistoryWriter, WhatFindsNoRoomIsCountedAndToldAsAGap) {
    begin();
    wait_until("it is told", [&] { return !writer->problem().empty(); });
    constexpr std::int64_t beyond = 5000; // more than one batch is under way
    const auto count = static_cast<std::int64_t>(history_waiting_limit) + beyond;
    for (std::int64_t number = 1; number <= count; ++number)
        writer->push(young_entry(number));
    const auto without_room = writer->told_figures();
    ASSERT_TRUE(without_room);
    EXPECT_FALSE(without_room->up);
    EXPECT_EQ(without_room->waiting + without_room->lost, static_cast<std::uint64_t>(count));
    EXPECT_EQ(without_room->bytes, 0U);
    make_room();
    wait_until("what was lost is told", [&] { return writer->has_lost_some(); });
    EXPECT_FALSE(writer->has_lost_some()) << "told once";
    wait_until("all is written", [&] { return writer->told_figures()->waiting == 0; });
    const auto told = writer->told_figures();
    EXPECT_TRUE(told->up);
    EXPECT_GT(told->bytes, 0U);
    writer.reset();
    const auto entries = read_all();
    ASSERT_FALSE(entries.empty());
    const history_entry& gap = entries.front(); // the newest: it is of now
    EXPECT_EQ(gap.kind, entry_kind::gap);
    EXPECT_GT(gap.count, 0);
    EXPECT_EQ(told->lost, static_cast<std::uint64_t>(gap.count));
    EXPECT_EQ(static_cast<std::int64_t>(entries.size()) - 1 + gap.count, count) << "each is there or counted";
}

TEST_F(HistoryWriter, WithoutAShareNothingIsWrittenUntilThereIsOne) {
    make_room();
    begin({0, history_usual_bytes});
    writer->push(young_entry(1));
    writer->wait_until_written(patience_ms);
    EXPECT_FALSE(std::filesystem::exists(state + "/history.db"));
    EXPECT_FALSE(writer->told_figures());
    writer->keep(usual);
    writer->push(young_entry(2));
    writer->wait_until_written(patience_ms);
    EXPECT_EQ(read_all().size(), 1U);
}

// It takes a while where there is much of it, and nothing else waits for that.
TEST_F(HistoryWriter, HistoryOfAnEarlierVersionIsBroughtAlongAndWritten) {
    make_room();
    std::string problem;
    {
        const auto earlier = database::open(state + "/history.db", 1000, &problem);
        ASSERT_TRUE(earlier && bring_history_to_version(*earlier, history_schema_version - 1, &problem))
            << problem;
    }
    begin();
    writer->push(young_entry(1));
    writer->wait_until_written(patience_ms);
    EXPECT_EQ(writer->problem(), "");
    EXPECT_EQ(read_all().size(), 1U);
    std::int64_t version = 0;
    ASSERT_TRUE(open_history_to_read(state, &version, &problem)) << problem;
    EXPECT_EQ(version, history_schema_version);
}

TEST_F(HistoryWriter, WhatWasPushedTogetherIsThereWhenItIsSaidToBeWritten) {
    make_room();
    begin();
    std::vector<history_item> items;
    for (std::int64_t number = 1; number <= 100; ++number)
        items.emplace_back(young_entry(number));
    const std::uint64_t number = writer->push_all(items);
    ASSERT_NE(number, 0U);
    EXPECT_TRUE(writer->is_written(number, patience_ms));
    EXPECT_EQ(read_all().size(), 100U);
    EXPECT_FALSE(writer->is_written(number + 1, 1));
}

TEST_F(HistoryWriter, OldEntriesGoByThemselves) {
    make_room();
    begin();
    history_entry now;
    writer->push(take_entry("studio", 1, 1)); // of years ago
    writer->push(now);
    wait_until("the old one is gone", [&] {
        const auto entries = read_all();
        return entries.size() == 1 && entries[0].time_us > noon_us + day_us;
    });
}
