#include "route_argument.h"

#include <gtest/gtest.h>

namespace {

take taken(const char* text) {
    std::string error;
    const auto one = parse_take(text, &error);
    EXPECT_TRUE(one) << error;
    return one.value_or(take{0, {}});
}

std::string refusal(const std::string& text) {
    std::string error;
    EXPECT_FALSE(parse_take(text, &error)) << text;
    return error;
}

} // namespace

TEST(RouteArgument, OneSourceGoesToBothLevels) {
    EXPECT_EQ(taken("3=2").output, 3);
    EXPECT_EQ(taken("3=2").source, (crosspoint{2, 2}));
    EXPECT_EQ(take_argument(taken("3=2")), "3=2");
}

TEST(RouteArgument, AudioStandsBeforeVideo) {
    EXPECT_EQ(taken("3=2,4").source, (crosspoint{2, 4}));
    EXPECT_EQ(take_argument(taken("3=2,4")), "3=2,4");
    EXPECT_EQ(take_argument(taken("3=2,2")), "3=2");
}

TEST(RouteArgument, NoneAndZeroAreNoSource) {
    EXPECT_EQ(taken("3=none").source, (crosspoint{0, 0}));
    EXPECT_EQ(taken("3=0").source, (crosspoint{0, 0}));
    EXPECT_EQ(taken("3=none,5").source, (crosspoint{0, 5}));
    EXPECT_EQ(take_argument(taken("3=5,none")), "3=5,0");
    EXPECT_EQ(take_argument(taken("3=none")), "3=0");
}

TEST(RouteArgument, MalformedTakesAreRefused) {
    for (const char* text :
         {"",     "3",    "=2",   "0=2",    "-1=2",    "x=2",           "3=",           "3=x",
          "3=-1", "3=2,", "3=,2", "3=2,x",  "3=2,3,4", " 3=2",          "3 =2",         "3=2 ",
          "3==2", "+3=2", "3=+2", "3=None", "3.0=2",   "99999999999=1", "1=99999999999"})
        EXPECT_NE(refusal(text).find("is no take"), std::string::npos);
}

TEST(RouteArgument, RefusalQuotesALittleOfWhatWasWritten) {
    EXPECT_EQ(refusal("3"), "\"3\" is no take: write OUT=IN or OUT=AUDIO,VIDEO");
    EXPECT_LT(refusal(std::string(100000, 'x')).size(), 200U);
}
