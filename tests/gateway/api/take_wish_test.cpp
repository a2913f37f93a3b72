#include "gateway/api/take_body.h"

#include "a_router.h"

namespace gateway {
namespace {

takes_wish wish(const char* body) {
    std::string problem;
    auto read = read_takes(json::parse(body), &problem);
    EXPECT_EQ(problem, "") << body;
    return read.value_or(takes_wish{});
}

std::vector<planned_take> plan(const char* body, const vrdx::router_picture& picture) {
    std::string problem;
    auto made = plan_takes(wish(body), picture, &problem);
    EXPECT_EQ(problem, "") << body;
    return made.value_or(std::vector<planned_take>{});
}

std::string plan_problem(const char* body, const vrdx::router_picture& picture) {
    std::string problem;
    EXPECT_FALSE(plan_takes(wish(body), picture, &problem));
    return problem;
}

TEST(TakeWish, MannerIsReadWithItsDefaults) {
    const takes_wish usual = wish(R"({"takes": [{"output": 1, "input": 0}]})");
    EXPECT_EQ(usual.within_ms, 0U);
    EXPECT_FALSE(usual.all_or_nothing);
    const takes_wish other =
        wish(R"({"takes": [{"output": 1, "input": 0}], "within": 60000, "all_or_nothing": true})");
    EXPECT_EQ(other.within_ms, 60000U);
    EXPECT_TRUE(other.all_or_nothing);
}

TEST(TakeWish, NumbersAndNamesBecomeSources) {
    const shown_router router = a_router();
    const auto takes = plan(
        R"({"takes": [{"output": 3, "input": 4}, {"output": 1, "sources": {"video": "Input 2", "audio": 0}},
                      {"output": 2, "sources": {"all": "Input 3"}}]})",
        router.picture);
    ASSERT_EQ(takes.size(), 3U);
    EXPECT_EQ(takes[0].take, (vrdx::output_take{3, audio_video(4, 4)}));
    EXPECT_EQ(takes[1].take, (vrdx::output_take{1, audio_video(0, 2)}));
    EXPECT_EQ(takes[2].take, (vrdx::output_take{2, audio_video(3, 3)}));
    EXPECT_FALSE(takes[1].expects);
}

TEST(TakeWish, LevelThatIsNotNamedStays) {
    shown_router router = a_router();
    router.picture.outputs[0].sources = audio_video(2, 3);
    const auto takes = plan(R"({"takes": [{"output": 1, "sources": {"video": 4}}]})", router.picture);
    EXPECT_EQ(takes[0].take.sources, audio_video(2, 4));
    EXPECT_TRUE(takes[0].expects);
    EXPECT_EQ(takes[0].shown, audio_video(2, 3));
    EXPECT_EQ(takes[0].reason, "");
}

TEST(TakeWish, OneLevelIsTakenOnlyWhereBothAreKnown) {
    shown_router router = a_router();
    router.picture.outputs[0].sources = audio_video(vrdx::source_unknown, 3);
    EXPECT_NE(plan(R"({"takes": [{"output": 1, "sources": {"video": 4}}]})", router.picture)[0].reason, "");
    EXPECT_NE(plan(R"({"takes": [{"output": 1, "sources": {"audio": 4}}]})", router.picture)[0].reason, "");
    EXPECT_EQ(plan(R"({"takes": [{"output": 1, "input": 4}]})", router.picture)[0].reason, "");
    EXPECT_NE(plan(R"({"takes": [{"output": 9, "sources": {"audio": 4}}]})", router.picture)[0].reason, "");
}

TEST(TakeWish, WhatIsNotThereIsRefusedBeforehand) {
    shown_router router = a_router();
    auto made =
        plan(R"({"takes": [{"output": 1, "input": 4}, {"output": 2, "input": 5}, {"output": 4, "input": 1},
                                   {"output": 3, "sources": {"video": 1, "audio": 0}}]})",
             router.picture);
    refuse_what_is_not_there(&made, router.picture);
    EXPECT_EQ(made[0].reason, "");
    EXPECT_EQ(made[1].reason, "no such input");
    EXPECT_EQ(made[2].reason, "no such output");
    EXPECT_STREQ(made[2].result, "refused");
    EXPECT_EQ(made[3].reason, "");
    router.picture.split_levels = false;
    refuse_what_is_not_there(&made, router.picture);
    EXPECT_EQ(made[3].reason, "levels are not separate");
}

TEST(TakeWish, NamesHaveToBeThoseOfOneInput) {
    shown_router router = a_router();
    router.picture.inputs[3].name = "Input 1";
    EXPECT_THAT(plan_problem(R"({"takes": [{"output": 1, "input": "Input 1"}]})", router.picture),
                testing::HasSubstr("1 and 4"));
    EXPECT_THAT(plan_problem(R"({"takes": [{"output": 1, "input": "input 2"}]})", router.picture),
                testing::HasSubstr("No input"));
}

} // namespace
} // namespace gateway
