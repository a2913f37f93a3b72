#include "planned_takes.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

using AssumedTake = planned_takes;

TEST_F(AssumedTake, KeepsTheSourcesBeforeItForOneSecond) {
    split_the_levels();
    report_sources(2, {7, 8});
    ask_for({{1, 4, 2}});
    plan_route_changes();
    EXPECT_EQ(saved(router_outputs[2]), (levels{7, 8}));
    EXPECT_EQ(router_outputs[2].confirm_deadline, settable_clock_us + 1000000);
    EXPECT_EQ(router_outputs[1].confirm_deadline, 0U);
}

TEST_F(AssumedTake, OfTheSameBatchKeepsTheSourcesOfTheOneBefore) {
    ask_for({{5, 5, 0}, {6, 6, 0}});
    plan_route_changes();
    EXPECT_EQ(current(router_outputs[0]), (levels{6, 6}));
    EXPECT_EQ(saved(router_outputs[0]), (levels{5, 5}));
}

TEST_F(AssumedTake, FallsBackUnconfirmedAfterOneSecond) {
    ask_for({{5, 5, 0}});
    plan_route_changes();
    settable_clock_us += 999999;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
    settable_clock_us += 1;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{0, 0}));
}

TEST_F(AssumedTake, IsConfirmedByAReportInTime) {
    ask_for({{5, 5, 0}});
    plan_route_changes();
    for (const char* line : {"*COMMAND=outputs", "*TYPE=message", "o0.input.all=5", ""})
        read_backend_report_line(line);
    settable_clock_us += 2000000;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
}

TEST_F(AssumedTake, StandsWhileTheClockCannotBeRead) {
    settable_clock_us = 18446744073709551;
    ask_for({{5, 5, 0}});
    plan_route_changes();
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
}

TEST_F(AssumedTake, IsSentButNotShownWithoutAssumptions) {
    dbg_nochg_assume = true;
    split_the_levels();
    ask_for({{1, 4, 2}, {3, 3, 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(),
                ElementsAre(take("video", "4", "2"), take("audio", "1", "2"), take("3", "1"), flush));
    for (const router_output& output : router_outputs) {
        EXPECT_EQ(current(output), (levels{0, 0}));
        EXPECT_EQ(saved(output), (levels{-1, -1}));
        EXPECT_EQ(output.confirm_deadline, 0U);
    }
}

TEST_F(AssumedTake, IsNeverRolledBackWithoutAssumptions) {
    dbg_nochg_assume = true;
    ask_for({{5, 5, 0}});
    plan_route_changes();
    for (const char* line : {"*COMMAND=outputs", "*TYPE=message", "o0.input.all=5", ""})
        read_backend_report_line(line);
    settable_clock_us += 2000000;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
}

} // namespace
