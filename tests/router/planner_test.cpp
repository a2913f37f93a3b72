#include "planned_takes.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Planner = planned_takes;

TEST_F(Planner, SplitTakeSendsVideoBeforeAudio) {
    split_levels = true;
    route_requests = {{1, 4, 2}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("video", "4", "2"), take("audio", "1", "2"), flush));
    EXPECT_EQ(current(router_outputs[2]), (levels{1, 4}));
}

TEST_F(Planner, SplitRouterTakesTheSameSourceForBothLevelsAtOnce) {
    split_levels = true;
    route_requests = {{3, 3, 1}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("3", "1"), flush));
    EXPECT_EQ(current(router_outputs[1]), (levels{3, 3}));
}

TEST_F(Planner, UnsplitRouterTakesTheVideoSourceForTheWholeOutput) {
    route_requests = {{2, 5, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("5", "0"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{5, 5}));
}

TEST_F(Planner, TakeOfNoSourceSendsNone) {
    route_requests = {{-1, -1, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("none", "0"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
}

TEST_F(Planner, SplitTakeSendsNoneForTheLevelWithoutSource) {
    split_levels = true;
    route_requests = {{-1, 3, 0}, {3, -1, 1}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("video", "3", "0"), take("audio", "none", "0"),
                                           take("video", "none", "1"), take("audio", "3", "1"), flush));
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, 3}));
    EXPECT_EQ(current(router_outputs[1]), (levels{3, -1}));
}

TEST_F(Planner, AnyNegativeSourceIsSentAsNone) {
    route_requests = {{-7, -7, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("none", "0"), flush));
}

TEST_F(Planner, TakeOnANegativeOutputIsSentButNotShown) {
    route_requests = {{1, 1, -1}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "-1"), flush));
    for (const router_output& output : router_outputs)
        EXPECT_EQ(current(output), (levels{0, 0}));
}

TEST_F(Planner, TakeOnAnUnannouncedOutputIsSentButNotShown) {
    route_requests = {{1, 1, 7}, {2, 2, 4}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "7"), take("2", "4"), flush));
    ASSERT_EQ(router_outputs.size(), 4U);
    for (const router_output& output : router_outputs) {
        EXPECT_EQ(current(output), (levels{0, 0}));
        EXPECT_EQ(output.confirm_deadline, 0U);
    }
}

TEST_F(Planner, SplitTakeOnAnUnannouncedOutputIsSentButNotShown) {
    split_levels = true;
    route_requests = {{1, 2, 7}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("video", "2", "7"), take("audio", "1", "7"), flush));
}

TEST_F(Planner, LastAnnouncedOutputIsShown) {
    route_requests = {{1, 1, 3}};
    plan_route_changes();
    EXPECT_EQ(current(router_outputs[3]), (levels{1, 1}));
}

TEST_F(Planner, TakeIsSentBeforeAnyRouterIsKnown) {
    router_outputs.clear();
    route_requests = {{1, 1, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "0"), flush));
    EXPECT_THAT(router_outputs, IsEmpty());
}

TEST_F(Planner, LargestNumbersAreSentWhole) {
    route_requests = {{2147483647, 2147483647, 2147483647}, {0, 0, -2147483647 - 1}};
    plan_route_changes();
    EXPECT_THAT(pending_lines,
                ElementsAre(take("2147483647", "2147483647"), take("0", "-2147483648"), flush));
}

TEST_F(Planner, BatchOfThreeIsSentInOrderWithOneFlush) {
    route_requests = {{1, 1, 2}, {2, 2, 0}, {3, 3, 1}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "2"), take("2", "0"), take("3", "1"), flush));
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Planner, SplitBatchOfThreeSendsUpToSixCommandsAndOneFlush) {
    split_levels = true;
    route_requests = {{1, 2, 0}, {3, 3, 1}, {4, 5, 2}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("video", "2", "0"), take("audio", "1", "0"), take("3", "1"),
                                           take("video", "5", "2"), take("audio", "4", "2"), flush));
}

TEST_F(Planner, NothingQueuedSendsNothing) {
    plan_route_changes();
    EXPECT_THAT(pending_lines, IsEmpty());
    EXPECT_EQ(trace(), "");
}

TEST_F(Planner, EachCallClosesItsOwnBatch) {
    route_requests = {{1, 1, 0}};
    plan_route_changes();
    route_requests = {{2, 2, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "0"), flush, take("2", "0"), flush));
}

TEST_F(Planner, TakesAreTracedLineByLine) {
    route_requests = {{3, 3, 0}};
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

// A backend of which one piece is missing.
struct missing_piece {
    const char* name;
    std::int32_t* piece;
};

void PrintTo(const missing_piece& missing, std::ostream* stream) {
    *stream << missing.name;
}

class PlannerWithoutBackend : public Planner, public testing::WithParamInterface<missing_piece> {};

TEST_P(PlannerWithoutBackend, KeepsTheTakesForTheNextOne) {
    std::int32_t& piece = *GetParam().piece;
    const std::int32_t connected = piece;
    piece = -1;
    route_requests = {{1, 1, 0}};
    plan_route_changes();
    route_requests.push_back({2, 2, 1});
    plan_route_changes();
    EXPECT_THAT(pending_lines, IsEmpty());
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 0}, route_request{2, 2, 1}));
    EXPECT_EQ(current(router_outputs[0]), (levels{0, 0}));
    EXPECT_EQ(trace(), "");

    piece = connected;
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "0"), take("2", "1"), flush));
    EXPECT_THAT(route_requests, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Missing, PlannerWithoutBackend,
                         testing::Values(missing_piece{"StandardInput", &backend_stdin_fd},
                                         missing_piece{"StandardOutput", &backend_stdout_fd},
                                         missing_piece{"Process", &backend_pid}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(Planner, BackendWithoutStandardErrorStillTakes) {
    close(backend_stderr_fd);
    backend_stderr_fd = -1;
    route_requests = {{1, 1, 0}};
    plan_route_changes();
    EXPECT_THAT(pending_lines, ElementsAre(take("1", "0"), flush));
}

} // namespace
