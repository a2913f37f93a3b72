#include "fresh_driver.h"
#include "router_picture.h"

namespace {

class State : public fresh_driver {
protected:
    // An output that was taken from "from" to "to" and waits until `deadline`.
    static router_output taken(levels from, levels to, std::uint64_t deadline) {
        router_output output;
        output.saved_audio_input = from.audio;
        output.saved_video_input = from.video;
        output.audio_input = to.audio;
        output.video_input = to.video;
        output.confirm_deadline = deadline;
        return output;
    }
};

TEST_F(State, NewOutputHasNoSourceAndAwaitsNothing) {
    const router_output output;
    EXPECT_EQ(current(output), (levels{-1, -1}));
    EXPECT_EQ(saved(output), (levels{-1, -1}));
    EXPECT_EQ(output.confirm_deadline, 0U);
    EXPECT_EQ(output.name, "");
}

TEST_F(State, NewRequestAsksForNothing) {
    EXPECT_EQ(route_request(), (route_request{-1, -1, -1}));
}

TEST_F(State, ShownTakeWaitsOneSecondForItsConfirmation) {
    EXPECT_EQ(assume_timeout, 1000000U);
}

TEST_F(State, UnconfirmedTakeIsRolledBackAtExactlyItsDeadline) {
    router_outputs = {taken({1, 2}, {3, 4}, settable_clock_us)};
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 2}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, 0U);
}

TEST_F(State, UnconfirmedTakeStandsUntilJustBeforeItsDeadline) {
    router_outputs = {taken({1, 2}, {3, 4}, settable_clock_us + 1)};
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{3, 4}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, settable_clock_us + 1);
}

TEST_F(State, UnconfirmedTakeIsRolledBackByALatePass) {
    router_outputs = {taken({1, 2}, {3, 4}, settable_clock_us)};
    settable_clock_us += 3600000000;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 2}));
}

TEST_F(State, ConfirmedRoutingIsNeverRolledBack) {
    router_outputs = {taken({1, 2}, {3, 4}, 0)};
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{3, 4}));
}

TEST_F(State, RollbackGoesBackToNoSource) {
    router_outputs = {taken({-1, -1}, {3, 4}, settable_clock_us)};
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
}

TEST_F(State, RollbackHappensOnce) {
    router_outputs = {taken({1, 2}, {3, 4}, settable_clock_us)};
    expire_assumed_routes();
    router_outputs[0].audio_input = 9;
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{9, 2}));
}

TEST_F(State, EachOutputIsRolledBackAtItsOwnDeadline) {
    const std::uint64_t now = settable_clock_us;
    router_outputs = {taken({0, 0}, {5, 5}, now), taken({1, 1}, {5, 5}, now + 1), taken({2, 2}, {5, 5}, 0),
                      taken({3, 3}, {5, 5}, now - 1)};
    expire_assumed_routes();
    EXPECT_EQ(current(router_outputs[0]), (levels{0, 0}));
    EXPECT_EQ(current(router_outputs[1]), (levels{5, 5}));
    EXPECT_EQ(current(router_outputs[2]), (levels{5, 5}));
    EXPECT_EQ(current(router_outputs[3]), (levels{3, 3}));
}

TEST_F(State, RollbackLeavesTheNameAlone) {
    router_outputs = {taken({1, 2}, {3, 4}, settable_clock_us)};
    router_outputs[0].name = "Studio 1";
    expire_assumed_routes();
    EXPECT_EQ(router_outputs[0].name, "Studio 1");
}

TEST_F(State, RouterWithoutOutputsHasNothingToRollBack) {
    expire_assumed_routes();
    EXPECT_TRUE(router_outputs.empty());
}

} // namespace
