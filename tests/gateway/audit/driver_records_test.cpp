#include "gateway/audit/driver_records.h"

#include "../routers/scripted_driver.h"
#include "temporary_directory.h"
#include "wait_until.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace gateway;

namespace {

using record_numbers = std::vector<std::int64_t>;

vrdx::take_record record_of(std::uint64_t number) {
    vrdx::take_record record;
    record.number = number;
    record.time_ms = 1700000000000 + number;
    record.way = "take";
    record.output = 1;
    record.before = {1, 1};
    record.wanted = {2, 2};
    record.result.word = vrdx::take_word::confirmed;
    return record;
}

// A driver whose record the test plays, and what the board would tell of it.
class DriverRecords : public testing::Test {
protected:
    temporary_directory run;
    boost::asio::io_context loop;
    take_callers callers;
    std::vector<history_entry> takes;
    std::vector<record_mark> marks;
    std::unique_ptr<scripted_driver> driver = std::make_unique<scripted_driver>(run.file("studio.sock"));
    std::uint64_t oldest = 1, newest = 0; // that the driver has kept
    std::uint64_t page = 1000;            // takes of one page
    int pages_asked = 0;
    shown_router router;
    driver_records records{loop, run.path(), callers, [this](const history_item& item) { keep(item); }};

    void SetUp() override {
        router.name = "studio";
        play();
    }
    void play() {
        driver->record_pages = [this](const comm_socket_v4_packet& asked) {
            ++pages_asked;
            return page_for(asked);
        };
    }
    void keep(const history_item& item) {
        if (const auto* entry = std::get_if<history_entry>(&item))
            takes.push_back(*entry);
        else
            marks.push_back(std::get<record_mark>(item));
    }

    std::string page_for(const comm_socket_v4_packet& asked) const {
        const std::string text = entry_of(asked, "from");
        const std::uint64_t from =
            std::max(oldest, text.empty() ? std::uint64_t{1} : std::uint64_t{std::stoull(text)});
        told_entries entries{{"epoch", driver->epoch}, {"last take", std::to_string(newest)}};
        std::uint64_t number = from;
        for (; number <= newest && number < from + page; ++number) {
            entries.emplace_back("take", std::to_string(number));
            entries.emplace_back("time", std::to_string(1700000000000 + number));
            entries.emplace_back("output", "1");
            entries.emplace_back("to", "2,2");
            entries.emplace_back("result", "confirmed");
        }
        if (number <= newest)
            entries.emplace_back("next", std::to_string(number));
        return bytes_of("describe", entries);
    }

    void hear_began(std::uint64_t last, const std::string& epoch = first_epoch) {
        router_news news;
        news.router = &router;
        news.takes_epoch = epoch;
        news.record_began = last;
        records.hear(news);
    }
    void hear_takes(const std::vector<std::uint64_t>& told, const std::string& epoch = first_epoch) {
        router_news news;
        news.router = &router;
        news.takes_epoch = epoch;
        for (const std::uint64_t number : told)
            news.takes.push_back(record_of(number));
        records.hear(news);
    }
    void wait_for(const std::string& what, const std::function<bool()>& condition) {
        wait_until(what, [&] {
            driver->serve();
            loop.restart();
            loop.poll();
            return condition();
        });
    }
    void wait_for_reading() {
        wait_for("the record was read", [&] { return records.readings() == 0; });
    }
    record_numbers told_numbers() const {
        record_numbers found;
        for (const history_entry& each : takes)
            found.push_back(each.number);
        return found;
    }
};

} // namespace

TEST_F(DriverRecords, WhatWasDecidedBeforeIsReadPageByPage) {
    newest = 5;
    page = 2;
    hear_began(5);
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2, 3, 4, 5}));
    ASSERT_EQ(marks.size(), 1U);
    EXPECT_EQ(marks[0].first, 1);
    EXPECT_EQ(marks[0].epoch, first_epoch);
    EXPECT_FALSE(marks[0].heard_before);
}

TEST_F(DriverRecords, OldestTakeThatIsKeptIsMarked) {
    oldest = 4;
    newest = 5;
    hear_began(5);
    wait_for_reading();
    ASSERT_EQ(marks.size(), 1U);
    EXPECT_EQ(marks[0].first, 4);
    EXPECT_EQ(told_numbers(), (record_numbers{4, 5}));
}

TEST_F(DriverRecords, EmptyRecordIsNotRead) {
    hear_began(0);
    EXPECT_EQ(records.readings(), 0U);
    ASSERT_EQ(marks.size(), 1U);
    EXPECT_EQ(marks[0].first, 1);
    hear_takes({1, 2});
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2}));
    EXPECT_EQ(driver->connections_ever(), 0U);
}

TEST_F(DriverRecords, RouterOfAnotherSiteIsNotFollowed) {
    router.site = "north";
    newest = 3;
    hear_began(3);
    hear_takes({4});
    EXPECT_EQ(records.readings(), 0U);
    EXPECT_TRUE(takes.empty() && marks.empty());
    EXPECT_EQ(driver->connections_ever(), 0U);
}

TEST_F(DriverRecords, TakesThatWereLeftOutAreReadFromTheRecord) {
    hear_began(0);
    hear_takes({1, 2});
    newest = 9;
    hear_takes({8, 9});
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2, 8, 9, 3, 4, 5, 6, 7, 8, 9}))
        << "what comes twice is left out later";
    EXPECT_EQ(marks.back().first, 3);
}

TEST_F(DriverRecords, ConnectionThatBrokeGoesOnWhereItWas) {
    hear_began(0);
    hear_takes({1, 2});
    hear_began(2);
    EXPECT_EQ(records.readings(), 0U) << "nothing was missed";
    newest = 4;
    hear_began(4);
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2, 3, 4}));
}

TEST_F(DriverRecords, AnotherStartOfTheDriverBeginsAnew) {
    newest = 2;
    hear_began(2);
    wait_for_reading();
    driver->epoch = second_epoch;
    newest = 1;
    hear_began(1, second_epoch);
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2, 1}));
    EXPECT_EQ(takes.back().epoch, second_epoch);
    EXPECT_TRUE(marks.back().heard_before) << "until its end";
}

TEST_F(DriverRecords, DriverThatEndsWhileItIsReadWasNotHeardToItsEnd) {
    newest = 2;
    driver->hangs = true;
    hear_began(2);
    loop.restart();
    loop.poll();
    driver = nullptr;
    driver = std::make_unique<scripted_driver>(run.file("studio.sock"), second_epoch);
    play();
    newest = 1;
    hear_began(1, second_epoch);
    wait_for_reading();
    EXPECT_EQ(told_numbers(), record_numbers{1});
    EXPECT_FALSE(marks.back().heard_before);
}

TEST_F(DriverRecords, DriverThatCannotBeAskedIsAskedAgain) {
    newest = 2;
    driver->leave();
    hear_began(2);
    wait_until("the first attempt has failed", [&] {
        loop.restart();
        return loop.poll() > 0;
    });
    EXPECT_TRUE(takes.empty());
    driver = std::make_unique<scripted_driver>(run.file("studio.sock"));
    play();
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2}));
}

TEST_F(DriverRecords, RecordOfAnotherEpochIsNotTaken) {
    newest = 2;
    driver->epoch = second_epoch;
    hear_began(2);
    wait_for("it was asked", [&] { return pages_asked > 0 && driver->others() == 0; });
    EXPECT_TRUE(takes.empty());
    EXPECT_EQ(records.readings(), 1U) << "it is tried again";
}

TEST_F(DriverRecords, AllThatIsKeptIsReadOnceMore) {
    hear_began(0);
    hear_takes({1, 2});
    newest = 2;
    records.read_again();
    wait_for_reading();
    EXPECT_EQ(told_numbers(), (record_numbers{1, 2, 1, 2}));
}

TEST_F(DriverRecords, TakeOfThisProcessIsOfTheTokenAndHasItsCallersAddress) {
    vrdx::take_record record = record_of(1);
    record.user = geteuid();
    record.process = static_cast<std::uint64_t>(getpid());
    record.by = "desk";
    callers.begin("studio", "desk", {"192.0.2.1"}, {{record.output, record.wanted}});
    hear_began(0);
    router_news news;
    news.router = &router;
    news.takes_epoch = first_epoch;
    news.takes = {record, record_of(2)};
    records.hear(news);
    ASSERT_EQ(takes.size(), 2U);
    EXPECT_EQ(takes[0].through, through_gateway);
    EXPECT_EQ(takes[0].by, "desk");
    EXPECT_EQ(takes[0].address, "192.0.2.1");
    EXPECT_EQ(takes[1].through, "") << "the history knows, or looks the user up";
}

TEST_F(DriverRecords, TakeThatItsDriverNeverRecordedIsNotedWithTheDriversEnd) {
    hear_began(0);
    const auto order = callers.begin("studio", "desk", {"192.0.2.1"}, {{3, {4, 4}}});
    callers.end(order, {{vrdx::take_word::unknown, "the connection broke", {}}}, 1700000000000000);
    EXPECT_TRUE(takes.empty());
    hear_began(0, second_epoch);
    ASSERT_EQ(takes.size(), 1U);
    EXPECT_EQ(takes[0].output, 3);
    EXPECT_EQ(takes[0].result, "unknown");
}

TEST(EntryOfRecord, HasBothSourcesWhereTheyDiffer) {
    vrdx::take_record record = record_of(1);
    EXPECT_EQ(entry_of_record("studio", first_epoch, record).before, "1");
    EXPECT_EQ(entry_of_record("studio", first_epoch, record).level, "all");
    record.before = {4, vrdx::source_unknown};
    record.wanted = {vrdx::source_none, 7};
    record.result = {vrdx::take_word::shows, "", {3, 5}};
    const history_entry entry = entry_of_record("studio", first_epoch, record);
    EXPECT_EQ(entry.level, "video,audio");
    EXPECT_EQ(entry.before, "?,4");
    EXPECT_EQ(entry.after, "7,0");
    EXPECT_EQ(entry.reason, "the router shows 5,3");
}
