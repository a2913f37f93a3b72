#include "example_router.h"
#include "take_check.h"

#include <gtest/gtest.h>

TEST(TakeCheck, OutputsThatShowWhatWasAskedAreConfirmed) {
    const auto results = check_takes({{1, {1, 1}}, {2, {1, 1}}}, example_router(4, 4));
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].problem, "");
    EXPECT_TRUE(all_confirmed(results));
}

TEST(TakeCheck, EachOutputThatDidNotFollowIsNamed) {
    router_status status = example_router(4, 4);
    status.outputs[3].source = {0, 2};
    const auto results = check_takes({{4, {3, 3}}, {2, {2, 2}}, {1, {1, 1}}}, status);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0].problem, "");
    EXPECT_EQ(results[1].problem, "output 2 shows 1 instead of 2");
    EXPECT_EQ(results[2].problem, "output 4 shows audio none, video 2 instead of 3");
    EXPECT_EQ(results[2].shown, (crosspoint{0, 2}));
    EXPECT_FALSE(all_confirmed(results));
}

TEST(TakeCheck, OneWrongLevelIsNoConfirmation) {
    EXPECT_FALSE(all_confirmed(check_takes({{1, {1, 2}}}, example_router(4, 4))));
}

TEST(TakeCheck, LastTakeOfAnOutputCounts) {
    const auto results = check_takes({{1, {4, 4}}, {1, {1, 1}}}, example_router(4, 4));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(all_confirmed(results));
}

TEST(TakeCheck, OutputThatTheRouterDoesNotHaveIsSaidToBeMissing) {
    const auto results = check_takes({{9, {1, 1}}}, example_router(4, 4));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].problem, "output 9 does not exist: the router has 4 outputs");
    EXPECT_FALSE(results[0].shown);
}

TEST(TakeCheck, OutputBeyondTheStatusCannotBeConfirmed) {
    const auto results = check_takes({{200, {1, 1}}}, example_router(128, 128));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].problem,
              "output 200 cannot be confirmed: the driver's status shows outputs 1 to 128 only");
}
