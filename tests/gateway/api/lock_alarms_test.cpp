#include "gateway/api/lock_alarms.h"

#include "a_router.h"
#include "gateway/settings/limits.h"

namespace gateway {
namespace {

class LockAlarms : public testing::Test {
protected:
    LockAlarms() {
        locks[2] = {lock_state::lock, 1, "boss", "", 0};
        alarms.lock_changed(router, 2, locks.contains(2));
    }
    void show(int output, int source, bool confirmed = true) {
        auto& shown = router.picture.outputs[static_cast<std::size_t>(output - 1)];
        shown.sources = audio_video(source, source);
        shown.waits_ms = confirmed ? std::nullopt : std::optional<std::uint64_t>(500);
    }
    std::vector<lock_alarm> heard(std::uint64_t now_ms = 0) {
        return alarms.of(router, &locks, now_ms);
    }

    shown_router router = a_router();
    router_locks locks;
    lock_alarms alarms;
};

TEST_F(LockAlarms, LockedOutputThatChangesRaisesOneAlarm) {
    EXPECT_TRUE(heard().empty());
    show(2, 3);
    const auto raised = heard();
    ASSERT_EQ(raised.size(), 1U);
    EXPECT_EQ(raised[0].output, 2);
    EXPECT_EQ(raised[0].before, audio_video(1, 1));
    EXPECT_EQ(raised[0].now, audio_video(3, 3));
    EXPECT_TRUE(heard().empty());
}

TEST_F(LockAlarms, OtherOutputsRaiseNone) {
    show(1, 3);
    EXPECT_TRUE(heard().empty());
}

TEST_F(LockAlarms, TakeThatFallsBackRaisesNone) {
    show(2, 3, false);
    EXPECT_TRUE(heard().empty());
    show(2, 1);
    EXPECT_TRUE(heard().empty());
}

TEST_F(LockAlarms, AllowedTakeRaisesNoneButTheNextOneDoes) {
    alarms.takes_begin("studio", {{2, audio_video(3, 3)}}, 1000);
    show(2, 3);
    EXPECT_TRUE(heard(1500).empty());
    show(2, 4);
    EXPECT_EQ(heard(1600).size(), 1U);
}

TEST_F(LockAlarms, AllowanceEnds) {
    alarms.takes_begin("studio", {{2, audio_video(3, 3)}}, 1000);
    show(2, 3);
    EXPECT_EQ(heard(1000 + allowed_change_ms).size(), 1U);
}

TEST_F(LockAlarms, TakeThatIsConfirmedBehindItsLockRaisesNone) {
    alarms.takes_begin("studio", {{3, audio_video(4, 4)}}, 1000);
    locks[3] = {lock_state::protect, 1, "boss", "", 0, {1, 1}};
    alarms.lock_changed(router, 3, true);
    show(3, 4, false);
    EXPECT_TRUE(heard(1001).empty());
    show(3, 4);
    EXPECT_TRUE(heard(1002).empty());
    show(3, 5);
    EXPECT_EQ(heard(1003).size(), 1U);
}

TEST_F(LockAlarms, TakeOfAnotherRouterAllowsNothing) {
    alarms.takes_begin("archive", {{2, audio_video(4, 4)}}, 1000);
    show(2, 4);
    EXPECT_EQ(heard(1001).size(), 1U);
}

TEST_F(LockAlarms, OldestOfTooManyTakesIsForgottenAndTheNewestIsNot) {
    alarms.takes_begin("studio", {{2, audio_video(3, 3)}}, 1000);
    std::vector<vrdx::output_take> many;
    for (int number = 1; number <= static_cast<int>(lock_alarms::allowed_limit); number++)
        many.push_back({number, audio_video(4, 4)});
    alarms.takes_begin("archive", many, 1000);
    show(2, 3);
    EXPECT_EQ(heard(1001).size(), 1U);
    alarms.takes_begin("studio", {{2, audio_video(4, 4)}}, 1000);
    show(2, 4);
    EXPECT_TRUE(heard(1002).empty());
}

TEST_F(LockAlarms, TakeUnderWayRaisesOneAlthoughTheLockIsSetAnew) {
    show(2, 3, false);
    EXPECT_TRUE(heard().empty());
    locks[2].reason = "on air";
    alarms.lock_changed(router, 2, true);
    show(2, 3);
    const auto raised = heard();
    ASSERT_EQ(raised.size(), 1U);
    EXPECT_EQ(raised[0].before, audio_video(1, 1));
    EXPECT_FALSE(raised[0].while_away);
}

TEST_F(LockAlarms, SourceThatNobodyKnowsIsNoChange) {
    show(2, vrdx::source_unknown);
    EXPECT_TRUE(heard().empty());
    show(2, 1);
    EXPECT_TRUE(heard().empty());
    show(2, vrdx::source_unknown);
    EXPECT_TRUE(heard().empty());
    show(2, 4); // changed while nobody looked
    EXPECT_EQ(heard().size(), 1U);
}

TEST_F(LockAlarms, OutputThatIsFreeAgainRaisesNone) {
    locks.clear();
    alarms.lock_changed(router, 2, locks.contains(2));
    show(2, 3);
    EXPECT_TRUE(heard().empty());
    locks[2] = {};
    alarms.lock_changed(router, 2, locks.contains(2));
    EXPECT_TRUE(heard().empty());
}

TEST_F(LockAlarms, PictureOfBeforeSaysNothing) {
    show(2, 3);
    router.state = router_state::no_driver;
    EXPECT_TRUE(heard().empty());
    router.state = router_state::up;
    EXPECT_EQ(heard().size(), 1U);
}

// The gateway was down meanwhile.
TEST(LockAlarmsAfterARestart, OutputThatShowsSomethingElseThanItsLockWasKeptWithRaisesOne) {
    shown_router router = a_router();
    router_locks locks;
    locks[1] = {lock_state::lock, 1, "boss", "", 0, {1, 1}}; // as it shows
    locks[2] = {lock_state::lock, 1, "boss", "", 0, {3, 1}};
    locks[3] = {lock_state::lock, 1, "boss", "", 0}; // nobody knows
    lock_alarms alarms;
    router.state = router_state::reading;
    EXPECT_TRUE(alarms.of(router, &locks, 0).empty()) << "what it shows is not known yet";
    router.state = router_state::up;
    router.picture.outputs[1].waits_ms = 500;
    EXPECT_TRUE(alarms.of(router, &locks, 0).empty()) << "it may fall back";
    router.picture.outputs[1].waits_ms.reset();
    const auto raised = alarms.of(router, &locks, 0);
    ASSERT_EQ(raised.size(), 1U);
    EXPECT_EQ(raised[0].output, 2);
    EXPECT_EQ(raised[0].before, audio_video(1, 3));
    EXPECT_EQ(raised[0].now, audio_video(1, 1));
    EXPECT_TRUE(raised[0].while_away);
    EXPECT_TRUE(alarms.of(router, &locks, 0).empty());
    router.picture.outputs[0].sources = audio_video(4, 4);
    const auto next = alarms.of(router, &locks, 0);
    ASSERT_EQ(next.size(), 1U);
    EXPECT_FALSE(next[0].while_away);
}

TEST(LockAlarmsAfterARestart, WhatLockedOutputsShowIsToldToWhoKeepsIt) {
    shown_router router = a_router();
    router_locks locks;
    locks[1] = {lock_state::lock, 1, "boss", "", 0, {1, 1}};
    locks[2] = {lock_state::lock, 1, "boss", "", 0};
    std::map<int, locked_sources> kept;
    lock_alarms alarms([&](const std::string& name, int output, const locked_sources& now) {
        EXPECT_EQ(name, "studio");
        kept[output] = now;
    });
    alarms.of(router, &locks, 0);
    EXPECT_EQ(kept, (std::map<int, locked_sources>{{2, {1, 1}}}));
    router.picture.outputs[0].sources = audio_video(5, 4);
    alarms.of(router, &locks, 0);
    EXPECT_EQ(kept.at(1), (locked_sources{4, 5}));
}

} // namespace
} // namespace gateway
