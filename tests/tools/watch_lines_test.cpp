#include "example_router.h"
#include "watch_lines.h"

#include <gtest/gtest.h>
#include <pwd.h>

namespace {

constexpr std::uint64_t nobody_known = 4000000123; // a user without a name

watched_picture known(const vrdx::router_picture& picture) {
    watched_picture one;
    lines_of_change(&one, picture, {}, true);
    return one;
}

std::vector<std::string> texts(const std::vector<watch_line>& lines) {
    std::vector<std::string> all;
    for (const watch_line& line : lines)
        all.push_back(line.text);
    return all;
}

using text_list = std::vector<std::string>;

class OutputChange : public testing::Test {
protected:
    vrdx::router_picture picture = example_router(8, 2);
    watched_picture before = known(picture);

    text_list told() {
        vrdx::picture_news news;
        news.outputs = {1};
        return texts(lines_of_change(&before, picture, news, false));
    }
};

} // namespace

TEST_F(OutputChange, TakeIsToldWithWhoTookAndThatItWaits) {
    picture.outputs[0].sources = {5, 6};
    picture.outputs[0].waits_ms = 1000;
    picture.outputs[0].taken = vrdx::last_taker{nobody_known, 7, "desk 3"};
    EXPECT_EQ(told(),
              text_list{"output 1 \"Monitor 1\" source 1 \"Camera 1\" -> audio 5 \"Camera 5\", video 6 "
                        "\"Camera 6\", take of user 4000000123 (desk 3), not confirmed yet"});
    picture.outputs[0].waits_ms.reset();
    EXPECT_EQ(told(), text_list{}) << "the take itself tells that it is confirmed";
}

TEST_F(OutputChange, TakeThatFallsBackIsTold) {
    picture.outputs[0].sources = {5, 5};
    picture.outputs[0].waits_ms = 1000;
    told();
    picture.outputs[0].sources = {1, 1};
    picture.outputs[0].waits_ms.reset();
    EXPECT_EQ(told(),
              text_list{"output 1 \"Monitor 1\" source 5 \"Camera 5\" -> 1 \"Camera 1\", taken back, the "
                        "router has not confirmed the take"});
}

TEST_F(OutputChange, AnotherSourceThanTheOneTakenIsTheRoutersOwn) {
    picture.outputs[0].sources = {5, 5};
    picture.outputs[0].waits_ms = 1000;
    told();
    picture.outputs[0].sources = {7, 7};
    picture.outputs[0].waits_ms.reset();
    EXPECT_EQ(told(),
              text_list{"output 1 \"Monitor 1\" source 5 \"Camera 5\" -> 7 \"Camera 7\", at the router"});
}

TEST_F(OutputChange, SwitchAtTheRouterIsTold) {
    picture.outputs[0].sources = {0, 0};
    EXPECT_EQ(told(), text_list{"output 1 \"Monitor 1\" source 1 \"Camera 1\" -> none, at the router"});
}

TEST_F(OutputChange, TakeThatWasConfirmedAtOnceHasItsTaker) {
    picture.outputs[0].sources = {5, 5};
    picture.outputs[0].taken = vrdx::last_taker{nobody_known, 7, ""};
    EXPECT_EQ(told(),
              text_list{"output 1 \"Monitor 1\" source 1 \"Camera 1\" -> 5 \"Camera 5\", take of user "
                        "4000000123"});
}

TEST_F(OutputChange, NameIsTold) {
    picture.outputs[0].name = "a\"b\n";
    EXPECT_EQ(told(), text_list{"output 1 name \"Monitor 1\" -> \"a\\\"b\\n\""});
}

TEST_F(OutputChange, WhatIsNotNamedIsNotLookedAt) {
    picture.outputs[1].sources = {5, 5};
    EXPECT_EQ(told(), text_list{});
}

TEST(WatchLines, StatesAndSizeComeFirst) {
    vrdx::router_picture picture = example_router(8, 2);
    watched_picture before = known(picture);
    picture = example_router(9, 2);
    picture.backend = vrdx::backend_state::starting;
    picture.backend_text = "it ended";
    picture.link = vrdx::link_state::down;
    picture.link_text = "no route to host";
    EXPECT_EQ(texts(lines_of_change(&before, picture, {}, true)),
              (text_list{"backend running -> starting: it ended", "link up -> down: no route to host",
                         "size 8x2 -> 9x2", "input 9 name \"\" -> \"Camera 9\""}));
    EXPECT_EQ(texts(lines_of_change(&before, picture, {}, true)), text_list{});
}

TEST(WatchLines, ObjectSaysTheSame) {
    vrdx::router_picture picture = example_router(8, 1);
    watched_picture before = known(picture);
    picture.outputs[0].sources = {5, 6};
    const auto lines = lines_of_change(&before, picture, {}, true);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(json_line(lines[0].object),
              R"({"change":"source","output":1,"name":"Monitor 1","before":{"audio":1,"video":1},)"
              R"("after":{"audio":5,"video":6},"cause":"router","confirmed":true,"taken":null})");
}

TEST(WatchLines, DecidedTakeSaysWhatBecameOfIt) {
    vrdx::take_record record;
    record.output = 1;
    record.user = 0;
    record.by = "desk";
    record.wanted = {2, 2};
    record.milliseconds = 12;
    record.result = vrdx::take_result_in("replaced sent 4000000123 99 panel 2");
    const std::string root = getpwuid(0)->pw_name;
    EXPECT_EQ(line_of_take(record, example_router(2, 1)).text,
              "output 1 \"Monitor 1\" take of 2 \"Camera 2\" by " + root +
                  " (desk): replaced by a later take of user 4000000123 (panel 2) (12 ms)");
}
