// Where an output can go back to: what it showed before its last confirmed change.
#include "played_driver.h"

#include "gateway/routers/earlier_sources.h"

using gateway::earlier_sources;
using gateway::router_state;
using vrdx::level_sources;

namespace {

using levels = std::optional<level_sources>;

vrdx::router_picture picture_with(std::size_t outputs, bool split_levels = true) {
    vrdx::router_picture picture;
    picture.split_levels = split_levels;
    picture.outputs.resize(outputs);
    return picture;
}

void show(earlier_sources* earlier, vrdx::router_picture* picture, level_sources sources,
          bool confirmed = true) {
    picture->outputs[0].sources = sources;
    picture->outputs[0].waits_ms = confirmed ? std::nullopt : std::optional<std::uint64_t>(500);
    earlier->note(*picture, 1);
}

vrdx::take_record taken(int output, level_sources before, level_sources wanted, const char* result) {
    vrdx::take_record record;
    record.output = output;
    record.split_levels = true;
    record.before = before;
    record.wanted = wanted;
    record.result = vrdx::take_result_in(result);
    return record;
}

TEST(EarlierSources, AreThoseBeforeTheLastConfirmedChange) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1);
    show(&earlier, &picture, {1, 2});
    EXPECT_EQ(earlier.of(1), std::nullopt);
    show(&earlier, &picture, {3, 2});
    EXPECT_EQ(earlier.of(1), levels({1, 2}));
    show(&earlier, &picture, {3, 2}); // told once more
    EXPECT_EQ(earlier.of(1), levels({1, 2}));
    show(&earlier, &picture, {1, 2});
    EXPECT_EQ(earlier.of(1), levels({3, 2}));
    EXPECT_EQ(earlier.of(0), std::nullopt);
    EXPECT_EQ(earlier.of(2), std::nullopt);
}

TEST(EarlierSources, ATakeThatFallsBackChangesNothing) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1);
    show(&earlier, &picture, {1, 1});
    show(&earlier, &picture, {2, 2});
    show(&earlier, &picture, {5, 5}, false);
    show(&earlier, &picture, {2, 2});
    EXPECT_EQ(earlier.of(1), levels({1, 1}));
}

TEST(EarlierSources, WhatNobodyKnowsIsNothingToGoBackTo) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1);
    show(&earlier, &picture, {1, 1});
    show(&earlier, &picture, {vrdx::source_unknown, 2});
    show(&earlier, &picture, {vrdx::source_unknown, vrdx::source_unknown});
    EXPECT_EQ(earlier.of(1), std::nullopt);
    show(&earlier, &picture, {2, 2});
    EXPECT_EQ(earlier.of(1), levels({1, 1}));
}

TEST(EarlierSources, OfARouterThatSwitchesAllLevelsOneLevelIsEnough) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1, false);
    show(&earlier, &picture, {1, vrdx::source_unknown});
    show(&earlier, &picture, {vrdx::source_unknown, 4});
    EXPECT_EQ(earlier.of(1), levels({1, 1}));
}

TEST(EarlierSources, TheRecordFillsInWhatWasBefore) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(4);
    picture.outputs[0].sources = {3, 3}; // as the last take left it
    picture.outputs[1].sources = {9, 9}; // switched since
    earlier.note_anew(picture);
    const auto entered =
        earlier.enter(picture, {taken(1, {1, 1}, {2, 2}, "confirmed"), taken(2, {5, 5}, {6, 6}, "confirmed"),
                                taken(1, {2, 2}, {3, 3}, "confirmed"), taken(1, {3, 3}, {8, 8}, "refused no"),
                                taken(1, {3, 3}, {3, 3}, "confirmed"), taken(9, {1, 1}, {2, 2}, "confirmed"),
                                taken(0, {1, 1}, {2, 2}, "confirmed")});
    EXPECT_EQ(entered, (std::vector<int>{1, 2}));
    EXPECT_EQ(earlier.of(1), levels({2, 2}));
    EXPECT_EQ(earlier.of(2), levels({6, 6}));
    EXPECT_EQ(earlier.of(3), std::nullopt);
}

TEST(EarlierSources, TheRecordIsOlderThanWhatWasSeen) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1);
    show(&earlier, &picture, {3, 3});
    show(&earlier, &picture, {4, 4});
    EXPECT_TRUE(earlier.enter(picture, {taken(1, {1, 1}, {3, 3}, "confirmed")}).empty());
    EXPECT_EQ(earlier.of(1), levels({3, 3}));
}

TEST(EarlierSources, ARouterThatBecomesSmallerForgetsThoseThatAreGone) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(2);
    picture.outputs[1].sources = {1, 1};
    earlier.note_anew(picture);
    picture.outputs[1].sources = {2, 2};
    earlier.note_anew(picture);
    EXPECT_EQ(earlier.of(2), levels({1, 1}));
    picture.outputs.resize(1);
    earlier.note_anew(picture);
    EXPECT_EQ(earlier.of(2), std::nullopt);
}

TEST(ConfirmedSources, StayWhileATakeWaits) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(1);
    EXPECT_EQ(earlier.confirmed(1), std::nullopt);
    show(&earlier, &picture, {5, 5}, false);
    EXPECT_EQ(earlier.confirmed(1), std::nullopt); // seen only while it waited
    show(&earlier, &picture, {1, vrdx::source_unknown});
    show(&earlier, &picture, {5, 5}, false);
    EXPECT_EQ(earlier.confirmed(1), levels({1, vrdx::source_unknown}));
    show(&earlier, &picture, {5, 5});
    EXPECT_EQ(earlier.confirmed(1), levels({5, 5}));
    EXPECT_EQ(earlier.confirmed(0), std::nullopt);
    EXPECT_EQ(earlier.confirmed(2), std::nullopt);
}

TEST(ConfirmedSources, OfAPictureOfBeforeAreNotThoseOfNow) {
    earlier_sources earlier;
    vrdx::router_picture picture = picture_with(2);
    picture.outputs[0].sources = picture.outputs[1].sources = {1, 1};
    earlier.note_anew(picture);
    picture.outputs[0].sources = picture.outputs[1].sources = {4, 4};
    picture.outputs[0].waits_ms = 500;
    earlier.note_anew(picture);
    EXPECT_EQ(earlier.confirmed(1), std::nullopt);
    EXPECT_EQ(earlier.confirmed(2), levels({4, 4}));
}

class Previous : public PlayedDriver {
protected:
    levels of(int output) {
        return studio().earlier.of(output);
    }
};

} // namespace

TEST_F(Previous, IsToldWithTheChangeItself) {
    start_driver_and_wait();
    const std::size_t before = told.size();
    std::vector<levels> heard;
    board->listen([&](const gateway::router_news& news) {
        if (!news.places.outputs.empty())
            heard.push_back(news.router->earlier.of(2));
    });
    driver->tell_change({{"output 2", "two"}, {"output 2 sources", "3,3"}});
    wait_for("the change", [&] { return told.size() > before; });
    EXPECT_EQ(heard, (std::vector<levels>{level_sources{1, 1}}));
    driver->tell_change({{"output 2", "two"}, {"output 2 sources", "4,4"}, {"output 2 waits", "900"}});
    wait_for("a take that is not confirmed",
             [&] { return studio().picture.outputs[1].waits_ms.has_value(); });
    EXPECT_EQ(of(2), levels({1, 1}));
}

TEST_F(Previous, ComesFromTheRecordAtFirst) {
    start_driver();
    driver->answers_describe = true;
    driver->record = {{"take", "7"},    {"output", "2"},   {"level", "all"},        {"from", "4,4"},
                      {"to", "1,1"},    {"user", "1000"},  {"result", "confirmed"}, {"take", "8"},
                      {"output", "99"}, {"from", "4,4"},   {"to", "1,1"},           {"result", "confirmed"},
                      {"take", "9"},    {"output", "nine"}};
    board->start();
    wait_for("the record", [&] { return board->find("studio") != nullptr && of(2).has_value(); });
    EXPECT_EQ(of(2), levels({4, 4}));
    EXPECT_EQ(told.back().news.places.outputs, std::vector<int>{2});
    EXPECT_EQ(told.back().version, studio().version);
}

TEST_F(Previous, OutlivesTheDriver) {
    start_driver_and_wait();
    driver->tell_change({{"output 1", "one"}, {"output 1 sources", "3,3"}});
    wait_for("the change", [&] { return of(1).has_value(); });
    driver = nullptr;
    wait_for_state("studio", router_state::no_driver);
    EXPECT_EQ(of(1), levels({1, 1}));
    start_driver(second_epoch);
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(of(1), levels({3, 3})); // it shows 1 again
}
