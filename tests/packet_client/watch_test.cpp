#include "client_limits.h"
#include "client_watch.h"
#include "told_packets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using vrdx::watch_step;

namespace {

constexpr std::uint64_t second = 1000000;

class Watch : public testing::Test {
protected:
    vrdx::router_watch watch;
    vrdx::watch_news news;
    std::uint64_t now = 100 * second;

    watch_step begin(const char* epoch = first_epoch) {
        return vrdx::begin_watch(
            &watch, told("watch", {{"epoch", epoch}, {"sequence", "5"}, {"last take", "3"}}), now);
    }

    watch_step change(const char* from, const char* to, told_entries entries,
                      const char* epoch = first_epoch) {
        entries.insert(entries.begin(), {{"epoch", epoch}, {"from", from}, {"to", to}});
        return vrdx::add_news(&watch, told("change", entries), now, &news);
    }

    // A router of two by two, told whole.
    void begin_whole() {
        ASSERT_EQ(begin(), watch_step::told);
        ASSERT_EQ(change("1", "5",
                         {{"inputs", "2"},
                          {"outputs", "2"},
                          {"input 1", "A"},
                          {"input 2", "B"},
                          {"output 1", "Monitor"},
                          {"output 1 sources", "1,1"},
                          {"output 1 waits", "900"},
                          {"output 2", "VTR"},
                          {"output 2 sources", "2,2"}}),
                  watch_step::told);
    }
};

} // namespace

TEST_F(Watch, FirstChangeIsTheWholePicture) {
    begin_whole();
    EXPECT_TRUE(news.began_anew);
    EXPECT_TRUE(news.complete);
    EXPECT_TRUE(news.picture.sizes);
    EXPECT_THAT(news.picture.inputs, ElementsAre(1, 2));
    EXPECT_THAT(news.picture.outputs, ElementsAre(1, 2));
    EXPECT_EQ(watch.picture.sequence, 5U);
    EXPECT_EQ(watch.picture.outputs[1].name, "VTR");
}

TEST_F(Watch, ChangeTellsAPlaceWholeAndForgetsWhatItDoesNotTell) {
    begin_whole();
    EXPECT_EQ(change("6", "6", {{"output 1", "Monitor"}, {"output 1 sources", "2,1"}}), watch_step::told);
    EXPECT_FALSE(news.began_anew);
    EXPECT_FALSE(news.picture.sizes);
    EXPECT_FALSE(news.picture.state);
    EXPECT_THAT(news.picture.inputs, IsEmpty());
    EXPECT_THAT(news.picture.outputs, ElementsAre(1));
    EXPECT_FALSE(watch.picture.outputs[0].waits_ms);
    EXPECT_EQ(watch.picture.outputs[0].sources, (vrdx::level_sources{2, 1}));
    EXPECT_EQ(watch.picture.outputs[1].sources, (vrdx::level_sources{2, 2}));
}

TEST_F(Watch, SmallerRouterForgetsWhatIsBeyondIt) {
    begin_whole();
    EXPECT_EQ(change("6", "7", {{"inputs", "1"}, {"outputs", "1"}}), watch_step::told);
    EXPECT_TRUE(news.picture.sizes);
    EXPECT_EQ(change("8", "8", {{"inputs", "2"}, {"outputs", "2"}}), watch_step::told);
    EXPECT_TRUE(watch.picture.outputs[0].told);
    EXPECT_FALSE(watch.picture.outputs[1].told);
    EXPECT_EQ(watch.picture.inputs[1].name, "");
}

TEST_F(Watch, ChangeOfLinkIsAChangeOfState) {
    begin_whole();
    EXPECT_EQ(change("6", "6", {{"link", "down"}, {"link text", "timeout"}}), watch_step::told);
    EXPECT_TRUE(news.picture.state);
    EXPECT_EQ(watch.picture.link, vrdx::link_state::down);
}

TEST_F(Watch, PictureIsCompleteWithTheLastPacketOfAChange) {
    ASSERT_EQ(begin(), watch_step::told);
    EXPECT_EQ(change("1", "5", {{"inputs", "2"}, {"input 1", "A"}, {"more", "1"}}), watch_step::told);
    EXPECT_FALSE(news.complete);
    EXPECT_FALSE(watch.complete);
    EXPECT_EQ(watch.picture.sequence, 0U);
    EXPECT_EQ(change("1", "5", {{"input 2", "B"}}), watch_step::told);
    EXPECT_TRUE(watch.complete);
    EXPECT_FALSE(news.began_anew);
    EXPECT_EQ(watch.picture.inputs[0].name, "A");
    EXPECT_EQ(watch.picture.sequence, 5U);
}

TEST_F(Watch, RouterOfWhichNothingIsKnownHasNoChangesYet) {
    ASSERT_EQ(begin(), watch_step::told);
    EXPECT_EQ(change("1", "0", {{"backend", "starting"}}), watch_step::told);
    EXPECT_TRUE(watch.complete);
    EXPECT_EQ(change("1", "1", {{"inputs", "2"}}), watch_step::told);
    EXPECT_FALSE(news.began_anew);
    EXPECT_EQ(watch.picture.backend, vrdx::backend_state::starting);
}

TEST_F(Watch, MissingChangeIsAGap) {
    begin_whole();
    EXPECT_EQ(change("7", "7", {}), watch_step::gap);
    EXPECT_FALSE(watch.complete);
    EXPECT_EQ(change("8", "8", {}), watch_step::gap); // until it begins again
    begin_whole();
    EXPECT_TRUE(watch.complete);
}

TEST_F(Watch, OtherChangeAmidAChangeOfSeveralPacketsIsAGap) {
    ASSERT_EQ(begin(), watch_step::told);
    EXPECT_EQ(change("1", "5", {{"more", "1"}}), watch_step::told);
    EXPECT_EQ(change("6", "6", {}), watch_step::gap);
}

TEST_F(Watch, FirstChangeThatIsNotWholeIsAGap) {
    ASSERT_EQ(begin(), watch_step::told);
    EXPECT_EQ(change("2", "5", {}), watch_step::gap);
}

TEST_F(Watch, NumbersThatAreNoneOrRunBackAreMalformed) {
    for (const auto& [from, to] : {std::pair{"x", "6"}, {"6", ""}, {"6", "4"}, {"1", "3"}, {"0", "9"}}) {
        begin_whole();
        EXPECT_EQ(change(from, to, {}), watch_step::malformed) << from << " to " << to;
    }
}

TEST_F(Watch, PacketOfAnotherDriverIsNoticed) {
    begin_whole();
    EXPECT_EQ(change("6", "6", {}, second_epoch), watch_step::other_epoch);
    EXPECT_FALSE(watch.complete);
    EXPECT_EQ(begin(second_epoch), watch_step::other_epoch);
    EXPECT_TRUE(watch.begun);
    EXPECT_THAT(watch.picture.inputs, IsEmpty());
    EXPECT_EQ(begin(second_epoch), watch_step::told);
}

TEST_F(Watch, DriverThatRefusesIsNotWatched) {
    EXPECT_EQ(vrdx::begin_watch(&watch, told_error("too many watch"), now), watch_step::malformed);
    EXPECT_FALSE(watch.begun);
}

TEST_F(Watch, DecidedTakesAreTold) {
    begin_whole();
    EXPECT_EQ(vrdx::add_news(&watch,
                             told("takes", {{"epoch", first_epoch},
                                            {"lost", "4"},
                                            {"take", "8"},
                                            {"output", "2"},
                                            {"result", "confirmed"}}),
                             now, &news),
              watch_step::told);
    EXPECT_EQ(news.takes_lost, 4U);
    ASSERT_EQ(news.takes.size(), 1U);
    EXPECT_EQ(news.takes[0].output, 2);
    EXPECT_EQ(watch.picture.last_take, 8U);
    EXPECT_TRUE(watch.complete);
}

TEST_F(Watch, DriverThatSaysNothingForLongIsSilent) {
    begin_whole();
    now += 6 * second;
    EXPECT_FALSE(vrdx::is_silent(watch, now));
    EXPECT_EQ(vrdx::add_news(&watch,
                             told("alive", {{"epoch", first_epoch}, {"sequence", "9"}, {"last take", "4"}}),
                             now, &news),
              watch_step::told);
    EXPECT_EQ(watch.told_sequence, 9U);
    EXPECT_EQ(watch.picture.last_take, 4U);
    now += vrdx::watch_silence_limit_us;
    EXPECT_FALSE(vrdx::is_silent(watch, now));
    EXPECT_TRUE(vrdx::is_silent(watch, now + 1));
}

TEST_F(Watch, PacketsOfNewerDriversAreSkipped) {
    begin_whole();
    EXPECT_EQ(vrdx::add_news(&watch, told("weather", {{"rain", "1"}}), now, &news), watch_step::told);
    EXPECT_TRUE(watch.complete);
}
