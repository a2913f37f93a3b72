#include "gateway/audit/history_outbox.h"
#include "history_fixture.h"

using namespace gateway;

namespace {

class HistoryOfSites : public kept_history {
protected:
    std::vector<far_entry> to_send(std::int64_t after = 0) {
        std::string problem;
        std::vector<far_entry> entries;
        const auto outbox = history_outbox::open(state.path(), &problem);
        EXPECT_TRUE(outbox && outbox->read(after, 1000, &entries, &problem)) << problem;
        return entries;
    }
    history_place place(const char* name) {
        std::string problem;
        history_place found;
        const auto outbox = history_outbox::open(state.path(), &problem);
        EXPECT_TRUE(outbox && outbox->find(name, &found, &problem)) << problem;
        return found;
    }
};

far_entry entry_from(const std::string& site, const std::string& epoch, std::int64_t number) {
    far_entry far{take_entry(site + ":studio", 1, number, epoch_b)};
    far.entry.site = site;
    far.entry.site_epoch = epoch;
    far.entry.site_number = number;
    return far;
}

counted_entry refusal_of(std::int64_t time_us) {
    counted_entry counted{"key", {}, true};
    counted.entry.kind = entry_kind::login;
    counted.entry.time_us = counted.entry.until_us = time_us;
    return counted;
}

} // namespace

TEST_F(HistoryOfSites, OwnEntriesAreNumberedOnFromStartToStartWithAnEpochOfEach) {
    write({take_entry("studio", 1, 1), take_entry("studio", 1, 2)});
    write({take_entry("studio", 1, 2)}); // it is there already
    file.reset();
    file = opened({101, 0, noon_us + 1});
    write({take_entry("studio", 1, 3)});
    const auto entries = to_send();
    ASSERT_EQ(entries.size(), 3U);
    for (std::size_t at = 0; at < entries.size(); ++at)
        EXPECT_EQ(entries[at].entry.site_number, static_cast<std::int64_t>(at) + 1);
    EXPECT_EQ(entries[0].entry.site_epoch, entries[1].entry.site_epoch);
    EXPECT_NE(entries[1].entry.site_epoch, entries[2].entry.site_epoch);
    EXPECT_EQ(place(place_numbered).number, 3);
    EXPECT_EQ(to_send(2).size(), 1U);
}

TEST_F(HistoryOfSites, BatchThatIsNotWrittenUsesNoNumber) {
    std::string problem;
    const auto other = database::open(state.file("history.db"), 0, &problem);
    ASSERT_TRUE(other && other->script("CREATE TRIGGER no BEFORE INSERT ON entries WHEN NEW.output = 7 BEGIN "
                                       "SELECT RAISE(ABORT, 'no'); END",
                                       &problem))
        << problem;
    std::vector<history_entry> written;
    const std::vector<history_item> batch = {take_entry("studio", 1, 1), take_entry("studio", 7, 2)};
    EXPECT_FALSE(file->write(batch, &written, &problem));
    write({take_entry("studio", 1, 3)});
    ASSERT_EQ(to_send().size(), 1U);
    EXPECT_EQ(to_send()[0].entry.site_number, 1);
}

TEST_F(HistoryOfSites, EntriesOfOthersAreKeptOnceByTheirSiteEpochAndNumber) {
    const std::vector<history_item> batch = {entry_from("north", epoch_a, 1), entry_from("north", epoch_a, 2),
                                             entry_from("north", epoch_b, 3), entry_from("south", epoch_a, 1),
                                             history_place{place_read, 17, "then"}};
    for (int turn = 0; turn < 2; ++turn)
        EXPECT_TRUE(write(batch).empty()) << "the journal of this site is told nothing of it";
    const auto entries = read_all();
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_TRUE(to_send().empty()) << "they are not handed on once more";
    EXPECT_EQ(place(place_read).number, 17);
    EXPECT_EQ(place(place_read).mark, "then");
}

// A history that came back from a backup tells takes of the driver's record once more, under other numbers.
TEST_F(HistoryOfSites, TakeOfTheSameRecordIsKeptOnceUnderWhateverNumber) {
    far_entry again = entry_from("north", epoch_a, 1);
    again.entry.site_number = 2;
    write({entry_from("north", epoch_a, 1), again});
    EXPECT_EQ(read_all().size(), 1U);
}

TEST_F(HistoryOfSites, RefusalsAreHandedOnWhenNothingIsAddedAnyMore) {
    std::string problem;
    write({refusal_of(noon_us)});
    EXPECT_TRUE(file->number_refusals(noon_us + 60000000, &problem));
    EXPECT_TRUE(to_send().empty());
    counted_entry more = refusal_of(noon_us);
    more.entry.count = 4;
    write({more});
    EXPECT_TRUE(file->number_refusals(noon_us + 100000000, &problem)) << problem;
    EXPECT_TRUE(file->number_refusals(noon_us + 200000000, &problem)) << problem;
    const auto entries = to_send();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].entry.count, 5);
    EXPECT_EQ(entries[0].entry.site_number, 1);
    EXPECT_EQ(entries[0].share, entry_share::logins);
}
