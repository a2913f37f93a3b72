// Takes as they are asked for: which are refused at once, how long they are shown, what the record and the
// counters keep of them.
#include "open_takes.h"

#include <array>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using AskedTakes = open_takes;

std::optional<route_sources> both(std::int32_t source) {
    return route_sources{source, source};
}

// --- refused -----------------------------------------------------------------------------------------------

TEST_F(AskedTakes, OnWhatTheRouterDoesNotHaveAreRefused) {
    ask({{8, {1, 1}, {}}, {0, {8, 1}, {}}, {1, {1, 8}, {}}, {2, {7, 7}, {}}, {3, {-1, -1}, {}}});
    EXPECT_THAT(decided(), ElementsAre("8 refused no such output", "0 refused no such input",
                                       "1 refused no such input"));
    EXPECT_THAT(move_all(), ElementsAre("7>2", "none>3", "flush")) << "the others are one batch";
}

TEST_F(AskedTakes, OfTwoSourcesAreRefusedWithoutSeparateLevels) {
    split_the_levels(false);
    ask({{2, {1, 2}, {}}, {3, {2, 2}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 refused levels are not separate"));
    EXPECT_THAT(move_all(), ElementsAre("2>3", "flush"));
}

TEST_F(AskedTakes, WithoutABackendAreRefused) {
    commands_reach_backend = false;
    ask({{2, {1, 1}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 refused no backend"));
    commands_reach_backend = true;
    plan_route_changes();
    EXPECT_THAT(move_all(), IsEmpty());
}

TEST_F(AskedTakes, WhileTheLinkIsDownAreRefusedWithItsReason) {
    link_goes_down();
    ask({{2, {1, 1}, {}}});
    link_goes_down("no route to host");
    ask({{2, {1, 1}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 refused link down", "2 refused link down: no route to host"));
    report_link(link_state::up, "");
    ask({{2, {1, 1}, {}}});
    EXPECT_THAT(decided(), IsEmpty());
    EXPECT_THAT(move_all(), ElementsAre("1>2", "flush"));
}

TEST_F(AskedTakes, AreDoneWhereTheExpectedSourcesAreShownAndConfirmed) {
    report(1, 4);
    ask({{0, {5, 5}, both(0)}, {1, {5, 5}, both(0)}, {2, {5, 5}, route_sources{0, 1}}});
    EXPECT_THAT(decided(), ElementsAre("1 refused changed meanwhile", "2 refused changed meanwhile"));
    EXPECT_THAT(move_all(), ElementsAre("5>0", "flush"));
}

TEST_F(AskedTakes, ExpectNothingOfWhatIsOnlyAssumed) {
    ask({{2, {5, 5}, {}}});
    send_all();
    ask({{2, {6, 6}, both(5)}});
    EXPECT_THAT(decided(), ElementsAre("2 refused changed meanwhile"));
    report(2, 5);
    decided();
    ask({{2, {6, 6}, both(5)}});
    EXPECT_THAT(decided(), IsEmpty());
}

TEST_F(AskedTakes, ExpectNothingWhereTheSourceIsUnknown) {
    report(2, true, true, -1, false);
    ask({{2, {5, 5}, both(-1)}});
    EXPECT_THAT(decided(), ElementsAre("2 refused changed meanwhile"));
}

// --- shown -------------------------------------------------------------------------------------------------

TEST_F(AskedTakes, AreShownAtOnceAndFallBackASecondBehindTheirFlush) {
    ask({{2, {5, 5}, {}}});
    EXPECT_EQ(shown(2), (levels{5, 5}));
    pass_time(assume_timeout + 500000); // still on its way
    EXPECT_EQ(shown(2), (levels{5, 5}));
    send_all();
    pass_time(assume_timeout - 1);
    EXPECT_EQ(shown(2), (levels{5, 5}));
    pass_time(1);
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(AskedTakes, DecidedOnTheirWayAreShownUntilASecondBehindTheirFlush) {
    ask({{2, {5, 5}, {}}});
    send_one();
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 unknown not confirmed in time"));
    EXPECT_EQ(shown(2), (levels{5, 5}));
    send_all();
    pass_time(assume_timeout - 1);
    EXPECT_EQ(shown(2), (levels{5, 5}));
    pass_time(1);
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(AskedTakes, AreNotShownBeforeTheReportWhenNothingIsAssumed) {
    dbg_nochg_assume = true;
    const requester client = connect();
    ask(client, {{2, {5, 5}, {}}}, "desk");
    EXPECT_EQ(shown(2), (levels{0, 0}));
    EXPECT_EQ(router_outputs[2].taken_by.connection, client.connection);
    EXPECT_EQ(router_outputs[2].taken_by_name, "desk");
    send_all();
    report(2, 5);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

// --- record and counters -----------------------------------------------------------------------------------

TEST_F(AskedTakes, AreRecordedWithAllThatIsKnown) {
    const requester client = connect();
    const std::uint64_t before = last_take_record;
    ask(client, {{2, {3, 5}, {}}}, "desk 3");
    send_all();
    settable_clock_us += 250999;
    report(2, false, true, 5);
    report(2, true, false, 3);
    ASSERT_EQ(last_take_record, before + 1);
    const decided_take& take = take_record.back();
    EXPECT_EQ(take.record, last_take_record);
    EXPECT_EQ(take.took_ms, 250U);
    EXPECT_TRUE(take.accountable);
    EXPECT_EQ(take.whose.connection, client.connection);
    EXPECT_EQ(take.by, "desk 3");
    EXPECT_TRUE(take.breakaway);
    EXPECT_EQ(take.from.sources, (levels{0, 0}));
    EXPECT_EQ(take.to, (levels{3, 5}));
    EXPECT_EQ(take.answer, 1U);
    EXPECT_EQ(take.answer_index, 0U);
}

TEST_F(AskedTakes, RouteIsRecordedAsWhatItTook) {
    split_the_levels(false);
    const requester client = connect();
    route(client, 2, {3, 5});
    send_all();
    report(2, 5);
    EXPECT_FALSE(take_record.back().accountable);
    EXPECT_FALSE(take_record.back().breakaway);
    EXPECT_EQ(take_record.back().to, (levels{5, 5}));
    EXPECT_EQ(take_record.back().result, take_result::confirmed);
}

TEST_F(AskedTakes, RouteOnAnOutputThatIsNotThereIsNotRecorded) {
    const std::uint64_t before = last_take_record;
    const requester client = connect();
    route(client, 8, {1, 1});
    route(client, -3, {1, 1});
    send_all();
    pass_time(within_us);
    EXPECT_EQ(last_take_record, before);
}

TEST_F(AskedTakes, RecordKeepsTheLastThousand) {
    const std::uint64_t before = last_take_record;
    for (std::size_t i = 0; i < takes_in_record + 5; ++i)
        ask({{9, {1, 1}, {}}});
    EXPECT_EQ(last_take_record, before + takes_in_record + 5);
    EXPECT_EQ(take_record.size(), takes_in_record);
    EXPECT_EQ(take_record.front().record, before + 6);
    EXPECT_EQ(take_record.back().record, last_take_record);
}

TEST_F(AskedTakes, AreCountedSinceTheStartAndInTheLastHour) {
    constexpr std::uint64_t hour = 3600000000;
    settable_clock_us += 10000 * hour; // what other tests counted is older, or further ahead
    std::array<std::uint64_t, counted_kinds> totals{};
    std::array<std::uint64_t, counted_kinds> of_others{};
    for (std::size_t kind = 0; kind < counted_kinds; ++kind) {
        totals[kind] = counted_since_start(static_cast<counted>(kind));
        of_others[kind] = counted_in_last_hour(static_cast<counted>(kind));
    }
    ask({{2, {5, 5}, {}}, {3, {5, 5}, {}}, {9, {1, 1}, {}}});
    send_all();
    report(2, 5);
    pass_time(within_us);
    const auto expect = [&](counted what, std::uint64_t count) {
        const auto kind = static_cast<std::size_t>(what);
        EXPECT_EQ(counted_since_start(what) - totals[kind], count);
        EXPECT_EQ(counted_in_last_hour(what) - of_others[kind], count);
    };
    expect(counted::asked, 3);
    expect(counted::confirmed, 1);
    expect(counted::refused, 1);
    expect(counted::rolled_back, 1);
    expect(counted::unknown, 1);
    expect(counted::backend_starts, 0);
    settable_clock_us += hour;
    EXPECT_EQ(counted_in_last_hour(counted::asked), of_others[0]);
    EXPECT_EQ(counted_since_start(counted::asked) - totals[0], 3U);
}

} // namespace
