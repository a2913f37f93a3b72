#include "example_router.h"
#include "take_plan.h"

#include <gtest/gtest.h>

namespace {

vrdx::router_picture studio() {
    vrdx::router_picture picture = example_router(8, 6, {2, 3});
    picture.outputs[0].name = "Studio A";
    picture.outputs[1].name = "Studio A=main";
    picture.inputs[4].name = "Cam 5, left";
    picture.inputs[5].name = "main=Cam 6";
    return picture;
}

// "OUT=AUDIO,VIDEO ..." as it would be sent; the text behind "!" when nothing is.
std::string sent(const std::vector<std::string>& words, const vrdx::router_picture& picture = studio()) {
    std::string error;
    const auto wanted = read_take_words(words, picture, &error);
    if (wanted.empty())
        return "!" + error;
    std::string text;
    for (const planned_take& one : plan_takes(wanted, picture, &error))
        text += std::to_string(one.output) + "=" + std::to_string(one.after.audio) + "," +
                std::to_string(one.after.video) + (one.guarded ? "? " : " ");
    return error.empty() ? text : "!" + error;
}

} // namespace

TEST(TakeWords, NumbersRangesListsAndAllAreOutputs) {
    EXPECT_EQ(sent({"3=2"}), "3=2,2 ");
    EXPECT_EQ(sent({"3=2,4"}), "3=2,4 ");
    EXPECT_EQ(sent({"1-3=2", "5,6=none"}), "1=2,2 2=2,2 3=2,2 5=0,0 6=0,0 ");
    EXPECT_EQ(sent({"*=1"}), "1=1,1 2=1,1 3=1,1 4=1,1 5=1,1 6=1,1 ");
    EXPECT_EQ(sent({"4=0"}), "4=0,0 ");
}

TEST(TakeWords, LastTakeOfAnOutputCounts) {
    EXPECT_EQ(sent({"1-3=2", "2=7"}), "1=2,2 2=7,7 3=2,2 ");
    EXPECT_EQ(sent({"3.audio=4", "3.video=5"}), "3=4,5 ");
}

TEST(TakeWords, NamesStandForBothSides) {
    EXPECT_EQ(sent({"Monitor 3=Camera 8"}), "3=8,8 ");
    EXPECT_EQ(sent({"studio a=left,camera 8"}), "1=5,8 ");
    EXPECT_EQ(sent({"Studio A=Cam 5, left"}), "1=5,5 ");
}

TEST(TakeWords, NameWithAnEqualsSignIsUnderstoodWhereOnlyOneReadingIsPossible) {
    EXPECT_EQ(sent({"Studio A=main=7"}), "2=7,7 ");
    EXPECT_EQ(sent({"3=main=Cam 6"}), "3=6,6 ");
    EXPECT_EQ(sent({"Studio A=main=Cam 6"}).substr(0, 60),
              "!\"Studio A=main=Cam 6\" is no take: it can be read in more th");
}

TEST(TakeWords, OneLevelKeepsTheOtherAndOnlyWhileThatIsShown) {
    EXPECT_EQ(sent({"3.audio=4"}), "3=4,3? ");
    EXPECT_EQ(sent({"1-2.video=none"}), "1=2,0? 2=2,0? ");
    EXPECT_EQ(sent({"Studio A.audio=4"}), "1=4,3? ");
}

TEST(TakeWords, LevelThatNobodyKnowsCannotBeKept) {
    vrdx::router_picture picture = studio();
    picture.outputs[2].sources.video = vrdx::source_unknown;
    EXPECT_EQ(sent({"3.audio=4"}, picture),
              "!output 3 \"Monitor 3\": nobody knows what its other level shows; write 3=AUDIO,VIDEO");
}

TEST(TakeWords, LevelsOfARouterThatSwitchesThemTogetherAreRefused) {
    vrdx::router_picture picture = studio();
    picture.split_levels = false;
    const std::string reason = "is no take: this router switches video and audio together";
    EXPECT_EQ(sent({"3=2,4"}, picture), "!\"3=2,4\" " + reason);
    EXPECT_EQ(sent({"3.audio=4"}, picture), "!\"3.audio=4\" " + reason);
    EXPECT_EQ(sent({"3=4,4"}, picture), "3=4,4 ");
}

TEST(TakeWords, WhatMeansNothingIsTold) {
    EXPECT_EQ(sent({"1=1", "3"}), "!\"3\" is no take: write OUT=IN, OUT=AUDIO,VIDEO or OUT.audio=IN");
    EXPECT_EQ(sent({"3="}), "!\"3=\" is no take: no input stands behind \"=\"; \"none\" is no source");
    EXPECT_EQ(
        sent({"=2"}),
        "!\"=2\" is no take: no output stands before \"=\": write OUT=IN, OUT=AUDIO,VIDEO or OUT.audio=IN");
    EXPECT_EQ(sent({"7=1"}), "!\"7=1\" is no take: output 7 does not exist: the router has 6 outputs");
    EXPECT_EQ(sent({"1=9"}), "!\"1=9\" is no take: input 9 does not exist: the router has 8 inputs");
    EXPECT_EQ(sent({"3.audio=1,2"}), "!\"3.audio=1,2\" is no take: one level has one source");
    EXPECT_EQ(sent({"1=-1"}), "!\"1=-1\" is no take: no input is called \"-1\": the router has 8 inputs");
}

TEST(TakeWords, OlderDriversAreGivenNumbers) {
    std::string error;
    EXPECT_EQ(read_numbered_takes({"3=2", "4=5,6", "7=none"}, &error),
              (std::vector<output_take>{{3, {2, 2}}, {4, {5, 6}}, {7, {0, 0}}}));
    for (const char* word : {"Studio=2", "3", "3=", "0=1", "3=x", "3=1,2,3"}) {
        EXPECT_TRUE(read_numbered_takes({word}, &error).empty()) << word;
        EXPECT_NE(error.find("this driver needs numbers"), std::string::npos);
    }
}
