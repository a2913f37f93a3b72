#include "gateway/audit/history_outbox.h"
#include "gateway/settings/limits.h"
#include "history_fixture.h"

#include <algorithm>

using namespace gateway;

namespace {

class HistoryOfSites : public kept_history {
protected:
    std::vector<far_entry> to_send(const history_outbox::wanted& which = {}) {
        std::string problem;
        std::vector<far_entry> entries;
        const auto outbox = history_outbox::open(state.path(), &problem);
        EXPECT_TRUE(outbox && outbox->read(which, 1000, &entries, &problem)) << problem;
        return entries;
    }
    std::vector<history_entry> gaps() { // newest first
        std::vector<history_entry> found;
        for (const history_entry& each : read_all())
            if (each.kind == entry_kind::gap)
                found.push_back(each);
        return found;
    }
    void trim(const history_share& share) {
        std::string problem;
        bool more = true;
        while (more)
            ASSERT_TRUE(file->trim(share, noon_us, &more, &problem)) << problem;
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
    EXPECT_EQ(to_send({2, 0, 0}).size(), 1U);
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

TEST_F(HistoryOfSites, WhatWasSentBeforeIsSentAgainWhenItIsYoung) {
    write({take_entry("studio", 1, 1), take_entry("studio", 1, 2), take_entry("studio", 1, 3)});
    const auto numbers = [&](const history_outbox::wanted& which) {
        std::vector<std::int64_t> found;
        for (const far_entry& each : to_send(which))
            found.push_back(each.entry.site_number);
        return found;
    };
    EXPECT_EQ(numbers({0, 2, noon_us + 2}), (std::vector<std::int64_t>{2, 3}));
    EXPECT_EQ(numbers({0, 2, noon_us + day_us}), (std::vector<std::int64_t>{3}))
        << "what was never sent is sent, however old it is";
}

// --- what never came ---------------------------------------------------------------------------------------

TEST_F(HistoryOfSites, MissingNumbersOfASiteAreOneGap) {
    write({entry_from("north", epoch_a, 7), entry_from("north", epoch_a, 8)});
    EXPECT_TRUE(gaps().empty()) << "what was before the first one is none";
    write({entry_from("north", epoch_b, 12), entry_from("south", epoch_a, 3)});
    ASSERT_EQ(gaps().size(), 1U);
    EXPECT_EQ(gaps()[0].count, 3);
    EXPECT_EQ(gaps()[0].site, "north");
    write({entry_from("north", epoch_b, 13), entry_from("north", epoch_b, 12)});
    EXPECT_EQ(gaps().size(), 1U);
    EXPECT_TRUE(to_send().empty());
}

TEST_F(HistoryOfSites, WhatCouldNotBeReadIsToldOnce) {
    far_entry behind = entry_from("north", epoch_a, 4);
    behind.not_read = 2;
    write({entry_from("north", epoch_a, 1), behind});
    EXPECT_TRUE(gaps().empty());
    behind = entry_from("north", epoch_a, 8);
    behind.not_read = 2;
    write({behind});
    ASSERT_EQ(gaps().size(), 1U);
    EXPECT_EQ(gaps()[0].count, 1);
}

TEST_F(HistoryOfSites, WhatComesLaterAllTheSameIsMissingNoMore) {
    write(
        {entry_from("north", epoch_a, 1), entry_from("north", epoch_a, 4), entry_from("north", epoch_a, 6)});
    ASSERT_EQ(gaps().size(), 2U);
    write({entry_from("north", epoch_a, 3)});
    EXPECT_EQ(gaps().back().count, 1);
    write({entry_from("north", epoch_a, 3), entry_from("north", epoch_a, 1)});
    EXPECT_EQ(gaps().size(), 2U) << "these were there";
    write({entry_from("north", epoch_a, 2)});
    ASSERT_EQ(gaps().size(), 1U);
    write({entry_from("north", epoch_a, 5)});
    EXPECT_TRUE(gaps().empty());
    EXPECT_EQ(read_all().size(), 6U);
}

// A site that sends again tells entries that this history was too small or too short for.
TEST_F(HistoryOfSites, WhatWasRemovedDoesNotComeBack) {
    far_entry old = entry_from("north", epoch_a, 1);
    old.entry.time_us = noon_us - 10 * day_us;
    write({old, entry_from("north", epoch_a, 2), entry_from("north", epoch_a, 3)});
    trim({5, 1 << 30});
    ASSERT_EQ(read_all().size(), 2U);
    write({old, entry_from("north", epoch_a, 2), entry_from("north", epoch_a, 3),
           entry_from("north", epoch_a, 4)});
    EXPECT_EQ(read_all().size(), 3U);
    EXPECT_TRUE(gaps().empty());
}

// --- whose room it is --------------------------------------------------------------------------------------

TEST_F(HistoryOfSites, EntriesOfOthersGoBeforeThoseOfThisSite) {
    std::vector<history_item> batch;
    for (std::int64_t number = 1; number <= 5000; ++number)
        batch.emplace_back(take_entry("studio", 1, number));
    for (std::int64_t number = 1; number <= 20000; ++number) {
        far_entry far = entry_from("north", epoch_a, number);
        far.entry.time_us = noon_us + day_us; // younger than all of this site
        far.entry.reason = std::string(200, 'x');
        batch.emplace_back(far);
    }
    write(batch);
    trim({90, 4000000});
    std::size_t own = 0, far = 0;
    for (const history_entry& each : read_all())
        ++(each.site.empty() ? own : far);
    EXPECT_EQ(own, 5000U);
    EXPECT_LT(far, 20000U);
    write({entry_from("north", epoch_a, 1)});
    EXPECT_EQ(read_all().size(), own + far) << "it was removed";
}

TEST_F(HistoryOfSites, RefusalsOfOthersEraseNoneOfThisSite) {
    std::vector<history_item> batch{refusal_of(noon_us)};
    constexpr std::int64_t beyond = 100;
    for (std::int64_t number = 1; number <= history_counted_rows_limit + beyond; ++number) {
        far_entry far = entry_from("north", epoch_a, number);
        far.share = entry_share::logins;
        batch.emplace_back(far);
    }
    write(batch);
    trim({90, history_usual_bytes});
    history_query query;
    query.beyond_routers = true;
    query.limit = 1000000;
    const auto entries = read(query);
    EXPECT_EQ(entries.size(), static_cast<std::size_t>(history_counted_rows_limit));
    EXPECT_EQ(
        std::count_if(entries.begin(), entries.end(), [](const auto& each) { return each.site.empty(); }), 1);
}
