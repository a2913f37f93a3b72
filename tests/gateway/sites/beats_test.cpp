#include "gateway/sites/beats.h"

#include "gateway/sites/site_limits.h"

#include <gtest/gtest.h>

using namespace gateway;

TEST(Beats, CountAsLongAsTheyAreYoung) {
    EXPECT_EQ(beat_problem({"run", 5000}, 5000), "");
    EXPECT_EQ(beat_problem({"run", 5000}, 5000 + beat_limit_ms), "");
    EXPECT_EQ(beat_problem({"run", 5000}, 5001 + beat_limit_ms),
              "it came too late: its beat is 1001 ms old, and 1000 ms are possible");
}

TEST(Beats, OfTheFutureCountForNothing) {
    EXPECT_EQ(beat_problem({"run", 5001}, 5000), "its beat is none of the gateway there");
    EXPECT_NE(beat_problem({"run", UINT64_MAX}, 5000), "");
}

TEST(Beats, HaveARunOfTheirOwn) {
    const std::string one = new_run(), two = new_run();
    EXPECT_NE(one, two);
    EXPECT_EQ(one.size(), 16U);
    EXPECT_EQ(one.find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(Beats, AreOfAClockThatGoesOn) {
    const std::uint64_t before = boot_ms();
    EXPECT_GE(boot_ms(), before);
    EXPECT_GT(before, 0U);
}
