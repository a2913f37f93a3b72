#include "gateway/api/preset_body.h"

#include "a_router.h"
#include "gateway/api/preset_json.h"

#include <gmock/gmock.h>

namespace gateway {
namespace {

using testing::HasSubstr;

std::vector<preset_take> takes_of(const char* body) {
    std::string problem;
    const auto read = read_preset(json::parse(body), &problem);
    EXPECT_TRUE(read) << problem;
    return read.value_or(std::vector<preset_take>());
}

std::string problem_of(const char* body) {
    std::string problem;
    EXPECT_FALSE(read_preset(json::parse(body), &problem)) << body;
    return problem;
}

preset a_preset(const char* body) {
    preset one;
    one.takes = takes_of(body);
    return one;
}

TEST(PresetBody, EachTakeNamesItsRouter) {
    const auto takes = takes_of(R"({"takes": [{"router": "studio", "output": 1, "input": "Cam"},
                                             {"router": "archive", "output": 1, "sources": {"audio": 0}}]})");
    ASSERT_EQ(takes.size(), 2U);
    EXPECT_EQ(takes[0].router, "studio");
    EXPECT_EQ(takes[0].wish.video, source_wish("Cam"));
    EXPECT_EQ(takes[0].wish.audio, source_wish("Cam"));
    EXPECT_EQ(takes[1].wish.video, std::nullopt);
    EXPECT_EQ(takes[1].wish.audio, source_wish(0));
}

TEST(PresetBody, OneOutputOfARouterStandsInItOnce) {
    EXPECT_THAT(problem_of(R"({"takes": [{"router": "a", "output": 7, "input": 1},
                                         {"router": "b", "output": 7, "input": 1},
                                         {"router": "a", "output": 7, "input": 2}]})"),
                HasSubstr("Output 7 of the router \"a\""));
}

TEST(PresetBody, WhatIsWrongIsSaid) {
    EXPECT_THAT(problem_of("[]"), HasSubstr("\"takes\""));
    EXPECT_THAT(problem_of(R"({"takes": []})"), HasSubstr("1 to 4096"));
    EXPECT_THAT(problem_of(R"({"takes": [{"output": 1, "input": 1}]})"), HasSubstr("\"router\""));
    EXPECT_THAT(problem_of(R"({"takes": [{"router": 1, "output": 1, "input": 1}]})"),
                HasSubstr("\"router\""));
    EXPECT_THAT(problem_of(R"({"takes": [{"router": "a", "input": 1}]})"), HasSubstr("\"output\""));
    EXPECT_THAT(problem_of(R"({"takes": [{"router": "a", "output": 1, "input": 5000}]})"),
                HasSubstr("source"));
}

TEST(PresetJson, CanBeWrittenBack) {
    const char* body = R"({"takes":[{"router":"studio","output":1,"input":"Cam"},)"
                       R"({"router":"archive","output":2,"sources":{"video":3,"audio":"Cam"}},)"
                       R"({"router":"archive","output":3,"sources":{"audio":0}}]})";
    EXPECT_EQ(json_text({{"takes", preset_json(a_preset(body), 0)["takes"]}}), body);
}

TEST(PresetJson, ASavedFileHasTheTakesOfOneRouterAsNumbers) {
    const preset one = a_preset(R"({"takes": [
        {"router": "studio", "output": 2, "input": "Input 4"},
        {"router": "archive", "output": 1, "input": 1},
        {"router": "studio", "output": 3, "sources": {"video": 2}}]})");
    std::string problem;
    shown_router router = a_router();
    auto file = snapshot_json(one, router, &problem);
    ASSERT_TRUE(file) << problem;
    EXPECT_EQ(json_text((*file)["crosspoints"]),
              R"([{"output":2,"audio":4,"video":4},{"output":3,"audio":1,"video":2}])");
    const auto back = read_snapshot(*file, "studio", &problem);
    ASSERT_TRUE(back) << problem;
    EXPECT_EQ(back->size(), 2U);
    router.picture.outputs[2].sources = audio_video(vrdx::source_unknown, 1);
    file = snapshot_json(one, router, &problem);
    ASSERT_TRUE(file) << problem;
    EXPECT_EQ((*file)["crosspoints"].size(), 1U); // the other level of output 3 is not known
    router.picture.inputs[3].name = "another";
    EXPECT_FALSE(snapshot_json(one, router, &problem));
    EXPECT_THAT(problem, HasSubstr("Input 4"));
}

TEST(RecallBody, SaysHowItIsDone) {
    std::string problem;
    const auto usual = read_recall(json::parse("{}"), true, &problem);
    ASSERT_TRUE(usual) << problem;
    EXPECT_FALSE(usual->dry_run || usual->wish.all_or_nothing);
    EXPECT_EQ(usual->wish.within_ms, 0U);
    const auto other = read_recall(json::parse(R"({"dry_run": true, "all_or_nothing": true, "within": 500})"),
                                   true, &problem);
    ASSERT_TRUE(other) << problem;
    EXPECT_TRUE(other->dry_run && other->wish.all_or_nothing);
    EXPECT_EQ(other->wish.within_ms, 500U);
    EXPECT_FALSE(read_recall(json::parse(R"({"dry_run": true})"), false, &problem));
    EXPECT_THAT(problem, HasSubstr("\"all_or_nothing\", \"within\""));
}

} // namespace
} // namespace gateway
