#include "watched_picture.h"

namespace {

using ShownTake = watched_picture;

TEST_F(ShownTake, WaitsOneSecondForItsConfirmation) {
    EXPECT_EQ(assume_timeout, 1000000U);
    show_take(1, {1, 2}, anna);
    EXPECT_EQ(router_outputs[1].confirm_deadline, settable_clock_us + 1000000);
}

TEST_F(ShownTake, IsToldWithItsClient) {
    report_sources(1, {0, 1});
    listen();
    show_take(1, {2, -1}, anna);
    EXPECT_EQ(current(router_outputs[1]), (levels{2, -1}));
    EXPECT_EQ(saved(router_outputs[1]), (levels{0, 1}));
    const told one = only_event(picture_change::assumed, change_cause::client, 1);
    EXPECT_TRUE(one.event.audio);
    EXPECT_TRUE(one.event.video);
    EXPECT_EQ(one.event.before, (levels{0, 1}));
    EXPECT_EQ(one.event.after, (levels{2, -1}));
    expect_from(one, anna);
    expect_no_names(one);
}

TEST_F(ShownTake, OfTheSameSourceIsTold) {
    report_sources(0, {2, 2});
    listen();
    show_take(0, {2, 2}, anna);
    const told one = only_event(picture_change::assumed, change_cause::client, 0);
    EXPECT_EQ(one.event.before, one.event.after);
}

TEST_F(ShownTake, RollbackIsToldWithTheClientWhoseTakeItIs) {
    report_sources(1, {0, 1});
    show_take(1, {2, 2}, anna);
    listen();
    settable_clock_us += assume_timeout;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[1]), (levels{0, 1}));
    const told one = only_event(picture_change::rolled_back, change_cause::rollback, 1);
    EXPECT_TRUE(one.event.audio);
    EXPECT_TRUE(one.event.video);
    EXPECT_EQ(one.event.before, (levels{2, 2}));
    EXPECT_EQ(one.event.after, (levels{0, 1}));
    expect_from(one, anna);
    expect_no_names(one);
}

TEST_F(ShownTake, UnconfirmedIsRolledBackAtExactlyItsDeadline) {
    paint_output(0, {3, 4}, {1, 2}, settable_clock_us);
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 2}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, 0U);
}

TEST_F(ShownTake, UnconfirmedStandsUntilJustBeforeItsDeadline) {
    paint_output(0, {3, 4}, {1, 2}, settable_clock_us + 1);
    listen();
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{3, 4}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, settable_clock_us + 1);
    expect_nothing_told();
}

TEST_F(ShownTake, UnconfirmedIsRolledBackByALatePass) {
    paint_output(0, {3, 4}, {1, 2}, settable_clock_us);
    settable_clock_us += 3600000000;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 2}));
}

TEST_F(ShownTake, ConfirmedRoutingIsNeverRolledBack) {
    paint_output(0, {3, 4}, {1, 2}, 0);
    settable_clock_us += 3600000000;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{3, 4}));
}

TEST_F(ShownTake, RollbackGoesBackToNoSource) {
    paint_output(0, {3, 4}, {-1, -1}, settable_clock_us);
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
}

TEST_F(ShownTake, RollbackHappensOnce) {
    paint_output(0, {3, 4}, {1, 2}, settable_clock_us);
    expire_assumed_routes();
    report_source(0, true, false, 9);
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{9, 2}));
}

TEST_F(ShownTake, EachOutputIsRolledBackAtItsOwnDeadline) {
    const std::uint64_t now = settable_clock_us;
    resize_picture(6, 4, true);
    paint_output(0, {5, 5}, {0, 0}, now);
    paint_output(1, {5, 5}, {1, 1}, now + 1);
    paint_output(2, {5, 5}, {2, 2}, 0);
    paint_output(3, {5, 5}, {3, 3}, now - 1);
    listen();
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{0, 0}));
    EXPECT_EQ(current(router_outputs[1]), (levels{5, 5}));
    EXPECT_EQ(current(router_outputs[2]), (levels{5, 5}));
    EXPECT_EQ(current(router_outputs[3]), (levels{3, 3}));
    ASSERT_EQ(events.size(), 2U) << "one event for each rollback";
    EXPECT_EQ(events[0].event.place, 0);
    EXPECT_EQ(events[1].event.place, 3);
    EXPECT_EQ(events[1].event.version, events[0].event.version + 1);
}

TEST_F(ShownTake, RollbackLeavesTheNameAlone) {
    paint_output(0, {3, 4}, {1, 2}, settable_clock_us, "Studio 1");
    expire_assumed_routes();
    EXPECT_EQ(router_outputs[0].name, "Studio 1");
}

TEST_F(ShownTake, RouterWithoutOutputsHasNothingToRollBack) {
    resize_picture(0, 0, false);
    listen();
    expire_assumed_routes();
    expect_nothing_told();
}

} // namespace
