#include "gateway/sites/far_site.h"

#include "gateway/sites/site_limits.h"
#include "played_way.h"
#include "told_picture.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

vrdx::router_picture with_source(vrdx::router_picture picture, int output, int source) {
    picture.outputs[static_cast<std::size_t>(output - 1)].sources = {source, source};
    return picture;
}

int source(const seen_site& seen, int output) {
    return seen.shown().picture.outputs.at(static_cast<std::size_t>(output - 1)).sources.video;
}

// The whole picture is shown, as it is at number 1.
class FarSite : public testing::Test {
protected:
    void SetUp() override {
        seen.hear_alive();
        ASSERT_TRUE(seen.answer_page(picture));
        ASSERT_EQ(seen.shown().state, router_state::up);
    }
    // It is asked for, and then shown again.
    void expect_read_again(const vrdx::router_picture& now, std::uint64_t at,
                           const std::string& run = "run") {
        ASSERT_TRUE(seen.answer_page(now, at, run));
        EXPECT_EQ(seen.shown().state, router_state::up);
        EXPECT_EQ(source(seen, 1), now.outputs[0].sources.video);
    }

    const vrdx::router_picture picture = picture_of(4, 3);
    seen_site seen;
};

} // namespace

TEST_F(FarSite, ShowsARouterOnceItsPictureIsWhole) {
    EXPECT_EQ(seen.told, (std::vector<std::string>{"north:studio reading", "north:studio up"}));
    EXPECT_EQ(seen.shown().name, "north:studio");
    EXPECT_EQ(seen.shown().site, "north");
    EXPECT_EQ(seen.shown().picture.inputs.size(), 4U);
    EXPECT_EQ(seen.shown().version, 2U);
    EXPECT_TRUE(seen.way.sent.empty()) << "nothing else is asked for";
    EXPECT_EQ(seen.site.refuses(), "");
    EXPECT_EQ(seen.site.find("studio")->refuses_takes(), "");
}

TEST_F(FarSite, ShowsWhatChanges) {
    seen.hear_change(with_source(picture, 1, 3), 1, {1});
    EXPECT_EQ(source(seen, 1), 3);
    seen.hear_change(with_source(picture, 1, 4), 2, {1});
    EXPECT_EQ(source(seen, 1), 4);
    seen.hear_change(with_source(picture, 1, 3), 1, {1});
    EXPECT_EQ(source(seen, 1), 4) << "an old one that comes again";
    EXPECT_TRUE(seen.way.sent.empty());
}

TEST_F(FarSite, ReadsAnewWhenAChangeIsMissing) {
    const auto later = with_source(picture, 1, 4);
    seen.hear_change(later, 2, {2});
    EXPECT_NE(source(seen, 1), 4);
    expect_read_again(later, 3);
}

TEST_F(FarSite, ReadsAnewWhenTheLastChangeIsMissing) {
    seen.hear_alive(2);
    EXPECT_TRUE(seen.way.sent.empty()) << "it may be on its way";
    seen.hear_alive(2);
    expect_read_again(with_source(picture, 1, 4), 2);
}

TEST_F(FarSite, ReadsAnewWhatBeginsAnew) {
    seen.hear_change(picture, 1, {}, "run", nullptr, true);
    expect_read_again(picture_of(4, 2), 2);
    EXPECT_EQ(seen.shown().picture.outputs.size(), 2U);
}

TEST_F(FarSite, ReadsAnewAfterTheOwnerWasStartedAgain) {
    seen.hear_alive(1, "other");
    expect_read_again(with_source(picture, 1, 2), 1, "other");
}

TEST_F(FarSite, PutsOnTopWhatChangedWhileItRead) {
    seen.hear_change(picture, 1, {}, "run", nullptr, true);
    seen.hear_change(with_source(picture, 1, 2), 2, {1});
    seen.hear_change(with_source(picture, 1, 3), 3, {1});
    ASSERT_TRUE(seen.answer_page(with_source(picture, 1, 2), 3)); // of between the two
    EXPECT_EQ(source(seen, 1), 3);
    EXPECT_TRUE(seen.way.sent.empty());
}

TEST_F(FarSite, ReadsAnewWhenSomethingIsMissingBehindItsPages) {
    seen.hear_change(picture, 1, {}, "run", nullptr, true);
    seen.hear_change(with_source(picture, 1, 3), 5, {1});
    ASSERT_TRUE(seen.answer_page(picture, 3));
    seen.site.look_at_clock();
    expect_read_again(with_source(picture, 1, 3), 6);
}

TEST_F(FarSite, TellsTakesAlsoWhileItReads) {
    vrdx::router_picture now = picture; // its newest take has the number 3
    seen.hear_takes(picture, 1, {4});
    seen.hear_change(picture, 2, {}, "run", nullptr, true);
    seen.hear_takes(picture, 3, {5, 6});
    now.last_take = 5;
    ASSERT_TRUE(seen.answer_page(now, 4));
    seen.hear_takes(picture, 4, {7});
    EXPECT_EQ(seen.shown().state, router_state::up);
    EXPECT_EQ(seen.takes, (std::vector<std::uint64_t>{4, 5, 6, 7}));
    EXPECT_EQ(seen.takes_lost, 0U);
}

TEST_F(FarSite, TellsHowManyTakesWereLostOnTheWay) {
    EXPECT_EQ(seen.takes_lost, 0U) << "those before the first picture were never awaited";
    seen.hear_takes(picture, 1, {4});
    seen.hear_takes(picture, 4, {7}); // that of 5 and 6 has not come
    vrdx::router_picture now = picture;
    now.last_take = 9; // and that of 8 and 9 neither
    ASSERT_TRUE(seen.answer_page(now, 6));
    EXPECT_EQ(seen.takes, (std::vector<std::uint64_t>{4, 7}));
    EXPECT_EQ(seen.takes_lost, 4U);
    seen.hear_change(picture, 6, {}, "run", nullptr, true);
    ASSERT_TRUE(seen.answer_page(now, 7));
    EXPECT_EQ(seen.takes_lost, 4U) << "each once";
}

TEST_F(FarSite, CountsNoTakesOfADriverThatWasStartedAnew) {
    vrdx::router_picture now = picture;
    now.epoch = "fedcba9876543210";
    now.last_take = 100;
    seen.hear_change(now, 1, {}, "run", nullptr, true);
    ASSERT_TRUE(seen.answer_page(now, 2));
    EXPECT_EQ(seen.takes_lost, 0U);
    seen.hear_takes(now, 2, {101});
    EXPECT_EQ(seen.takes, (std::vector<std::uint64_t>{101}));
}

TEST_F(FarSite, KeepsWhatIsTooMuchToBeKeptOfNoTakeForItself) {
    seen.hear_change(picture, 1, {}, "run", nullptr, true);
    std::uint64_t number = 4;
    for (std::uint64_t from = 2; from < 2 + changes_kept_limit + 10; from++)
        seen.hear_takes(picture, from, {number++});
    EXPECT_EQ(seen.takes.size(), changes_kept_limit + 10);
}

TEST_F(FarSite, ReadsALargePictureInPagesThatFitTogether) {
    vrdx::router_picture large = picture_of(4, 1000);
    for (auto& output : large.outputs)
        output.name = std::string(500, 'x');
    seen.hear_change(large, 1, {}, "run", nullptr, true);
    int pages = 0;
    std::uint64_t at = 2;
    while (seen.answer_page(large, at)) {
        pages++;
        seen.hear_change(with_source(large, 1, 1 + pages % 4), at++, {1});
    }
    EXPECT_GT(pages, 2);
    EXPECT_EQ(seen.shown().picture.outputs.size(), 1000U);
    EXPECT_EQ(seen.shown().picture.outputs.back().name, std::string(500, 'x'));
    EXPECT_EQ(source(seen, 1), 1 + pages % 4);
}

TEST_F(FarSite, IsAskedAgainWhenItDoesNotAnswer) {
    seen.hear_change(picture, 1, {}, "run", nullptr, true);
    const site_message asked = seen.way.next();
    ASSERT_NE(asked.reply, "");
    seen.now_ms += page_answer_ms + 1;
    seen.hear_alive(2);
    seen.requests.look_at_clock(seen.now_ms);
    seen.site.look_at_clock();
    EXPECT_TRUE(seen.way.sent.empty()) << "after a pause";
    seen.now_ms += reread_after_failure_ms;
    seen.hear_alive(2);
    seen.requests.hear({asked.reply, "", page_text("run", 1, {seen.up, picture, nullptr}, 0), false});
    expect_read_again(with_source(picture, 1, 3), 2);
}

TEST_F(FarSite, IsStaleWhenItIsNotHeard) {
    seen.now_ms += site_silence_limit_ms;
    seen.site.look_at_clock();
    EXPECT_EQ(seen.shown().state, router_state::up);
    seen.now_ms += 1;
    EXPECT_NE(seen.site.refuses(), "") << "also before somebody has looked";
    seen.site.look_at_clock();
    EXPECT_EQ(seen.shown().state, router_state::stale);
    EXPECT_NE(seen.shown().reason.find("not been heard since 20"), std::string::npos) << seen.shown().reason;
    EXPECT_EQ(seen.shown().picture.outputs.size(), 3U) << "what was known last is shown";
    seen.hear_change(with_source(picture, 1, 4), 1, {1});
    EXPECT_NE(source(seen, 1), 4);
    EXPECT_TRUE(seen.way.sent.empty());
}

TEST_F(FarSite, IsReadAnewWhenItIsHeardAgain) {
    seen.now_ms += site_silence_limit_ms + 1;
    seen.site.look_at_clock();
    seen.hear_alive();
    EXPECT_EQ(seen.shown().state, router_state::stale) << "until all is read";
    expect_read_again(with_source(picture, 1, 2), 1);
}

TEST_F(FarSite, OfAnotherVersionIsToldOnceAndStale) {
    EXPECT_EQ(seen.site.hear_alive(R"({"v":7})"),
              "Site north speaks version 7 of the messages between sites, this gateway version 1.");
    EXPECT_EQ(seen.site.hear_alive(R"({"v":7})"), "");
    EXPECT_EQ(seen.shown().state, router_state::stale);
    EXPECT_NE(seen.site.refuses(), "");
    seen.hear_alive();
    EXPECT_EQ(seen.site.refuses(), "");
    expect_read_again(picture, 1);
}

TEST_F(FarSite, TellsLocksOfTheOwner) {
    const output_locks locks = locks_of_first_output();
    seen.hear_change(picture, 1, {1}, "run", &locks);
    EXPECT_EQ(seen.told.back(), "north:studio lock 1");
    EXPECT_EQ(seen.site.find("studio")->locks().at(1), locks.at(1));
    seen.told.clear();
    seen.hear_change(picture, 2, {1}, "run", &locks);
    EXPECT_EQ(seen.told, std::vector<std::string>{"north:studio up"}) << "the same lock is no news";
    seen.hear_change(picture, 3, {1});
    EXPECT_TRUE(seen.site.find("studio")->locks().empty());
}

TEST_F(FarSite, ForgetsARouterThatItsSiteDoesNotList) {
    seen.site.hear_alive(alive_text({0, {"run", 5}, {}}));
    EXPECT_EQ(seen.told.back(), "north:studio gone");
    EXPECT_EQ(seen.site.find("studio"), nullptr);
}

TEST(FarSites, AreNotHeardBeforeTheyAreHeard) {
    seen_site seen;
    EXPECT_EQ(seen.site.refuses(), "Site north has not been heard yet.");
    EXPECT_EQ(seen.site.hear_alive("no message"), "");
    EXPECT_EQ(seen.site.refuses(), "Site north has not been heard yet.");
}

TEST(FarSites, ReadAFewPicturesAtOnce) {
    seen_site seen;
    alive_message alive{0, {"run", 5}, {}};
    for (int number = 0; number < 50; number++)
        alive.routers.push_back({"r" + std::to_string(number), router_state::up, 1});
    seen.site.hear_alive(alive_text(alive));
    EXPECT_EQ(seen.way.sent.size(), pictures_read_at_once);
}
