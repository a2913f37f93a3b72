#include "planned_takes.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Planner = planned_takes;

TEST_F(Planner, SplitTakeSendsVideoBeforeAudio) {
    split_the_levels();
    ask_for({{1, 4, 2}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("video", "4", "2"), take("audio", "1", "2"), flush));
    EXPECT_EQ(current(router_outputs[2]), (levels{1, 4}));
}

TEST_F(Planner, SplitRouterTakesTheSameSourceForBothLevelsAtOnce) {
    split_the_levels();
    ask_for({{3, 3, 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("3", "1"), flush));
    EXPECT_EQ(current(router_outputs[1]), (levels{3, 3}));
}

TEST_F(Planner, UnsplitRouterTakesTheVideoSourceForTheWholeOutput) {
    ask_for({{2, 5, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("5", "0"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
}

TEST_F(Planner, TakeOfNoSourceSendsNone) {
    ask_for({{-1, -1, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("none", "0"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
}

TEST_F(Planner, SplitTakeSendsNoneForTheLevelWithoutSource) {
    split_the_levels();
    ask_for({{-1, 3, 0}, {3, -1, 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("video", "3", "0"), take("audio", "none", "0"),
                                             take("video", "none", "1"), take("audio", "3", "1"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, 3}));
    EXPECT_EQ(current(router_outputs[1]), (levels{3, -1}));
}

TEST_F(Planner, AnyNegativeSourceIsSentAsNone) {
    ask_for({{-7, -7, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("none", "0"), flush));
}

TEST_F(Planner, TakeOnANegativeOutputIsSentButNotShown) {
    ask_for({{1, 1, -1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "-1"), flush));
    for (const router_output& output : router_outputs)
        EXPECT_EQ(current(output), (levels{0, 0}));
}

TEST_F(Planner, TakeOnAnUnannouncedOutputIsSentButNotShown) {
    ask_for({{1, 1, 7}, {2, 2, 4}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "7"), take("2", "4"), flush));
    ASSERT_EQ(router_outputs.size(), 4U);
    for (const router_output& output : router_outputs) {
        EXPECT_EQ(current(output), (levels{0, 0}));
        EXPECT_EQ(output.confirm_deadline, 0U);
    }
}

TEST_F(Planner, SplitTakeOnAnUnannouncedOutputIsSentButNotShown) {
    split_the_levels();
    ask_for({{1, 2, 7}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("video", "2", "7"), take("audio", "1", "7"), flush));
}

TEST_F(Planner, LastAnnouncedOutputIsShown) {
    ask_for({{1, 1, 3}});
    plan_route_changes();
    EXPECT_EQ(current(router_outputs[3]), (levels{1, 1}));
}

TEST_F(Planner, TakeIsSentBeforeAnyRouterIsKnown) {
    resize_picture(0, 0, false);
    ask_for({{1, 1, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "0"), flush));
    EXPECT_THAT(router_outputs, IsEmpty());
}

TEST_F(Planner, LargestNumbersAreSentWhole) {
    ask_for({{2147483647, 2147483647, 2147483647}, {0, 0, -2147483647 - 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(),
                ElementsAre(take("2147483647", "2147483647"), take("0", "-2147483648"), flush));
}

TEST_F(Planner, BatchOfThreeIsSentInOrderWithOneFlush) {
    ask_for({{1, 1, 2}, {2, 2, 0}, {3, 3, 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "2"), take("2", "0"), take("3", "1"), flush));
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Planner, SplitBatchOfThreeSendsUpToSixCommandsAndOneFlush) {
    split_the_levels();
    ask_for({{1, 2, 0}, {3, 3, 1}, {4, 5, 2}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("video", "2", "0"), take("audio", "1", "0"), take("3", "1"),
                                             take("video", "5", "2"), take("audio", "4", "2"), flush));
}

TEST_F(Planner, NothingQueuedSendsNothing) {
    plan_route_changes();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(trace(), "");
}

TEST_F(Planner, EachCallClosesItsOwnBatch) {
    ask_for({{1, 1, 0}});
    plan_route_changes();
    ask_for({{2, 2, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "0"), flush, take("2", "0"), flush));
}

TEST_F(Planner, TakesAreTracedLineByLine) {
    ask_for({{3, 3, 0}});
    plan_route_changes();
    EXPECT_EQ(trace(), "STDIN: '*COMMAND=route output'\n"
                       "STDIN: '*TYPE=command'\n"
                       "STDIN: 'from input=3'\n"
                       "STDIN: 'queue=add'\n"
                       "STDIN: 'to output=0'\n"
                       "STDIN: ''\n"
                       "STDIN: '*COMMAND=route output'\n"
                       "STDIN: '*TYPE=command'\n"
                       "STDIN: 'queue=flush'\n"
                       "STDIN: ''\n");
}

TEST_F(Planner, TakesWaitWhileCommandsReachNoBackend) {
    commands_reach_backend = false;
    ask_for({{1, 1, 0}});
    plan_route_changes();
    ask_for({{2, 2, 1}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 0}, route_request{2, 2, 1}));
    EXPECT_EQ(current(router_outputs[0]), (levels{0, 0}));
    EXPECT_EQ(trace(), "");

    commands_reach_backend = true;
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "0"), take("2", "1"), flush));
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Planner, BackendWithoutStandardErrorStillTakes) {
    close(backend_stderr_fd);
    backend_stderr_fd = -1;
    ask_for({{1, 1, 0}});
    plan_route_changes();
    EXPECT_THAT(pending_texts(), ElementsAre(take("1", "0"), flush));
}

} // namespace
