#include "launched_backend.h"
#include "open_file_limit.h"
#include "periodic_timer.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace {

// --- the periodic timer ------------------------------------------------------------------------------------

TEST(PeriodicTimer, FiresInTheFirstPass) {
    std::uint64_t next = 0;
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1000));
    EXPECT_EQ(next, 1005U);
}

TEST(PeriodicTimer, DoesNotFireBeforeItsTime) {
    std::uint64_t next = 1000;
    EXPECT_FALSE(periodic_timer_due(&next, 5, 999));
    EXPECT_EQ(next, 1000U);
}

TEST(PeriodicTimer, FiresAtExactlyItsTime) {
    std::uint64_t next = 1000;
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1000));
    EXPECT_EQ(next, 1005U);
}

TEST(PeriodicTimer, KeepsItsBeatWhenALittleLate) {
    std::uint64_t next = 1000;
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1003));
    EXPECT_EQ(next, 1005U);
}

TEST(PeriodicTimer, OneWholePeriodLateIsDueAgainAtOnce) {
    std::uint64_t next = 1000;
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1005));
    EXPECT_EQ(next, 1005U);
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1005));
    EXPECT_EQ(next, 1010U);
}

TEST(PeriodicTimer, DoesNotCatchUpOnMissedPeriods) {
    std::uint64_t next = 1000;
    EXPECT_TRUE(periodic_timer_due(&next, 5, 1006));
    EXPECT_EQ(next, 1011U);
    EXPECT_FALSE(periodic_timer_due(&next, 5, 1006));
}

// --- the start check ---------------------------------------------------------------------------------------

constexpr std::uint64_t period = 5000000;
constexpr std::uint64_t now = 1000000000;

using StartCheck = launched_backend;

TEST_F(StartCheck, EmptyPathStartsNoChild) {
    for (int pass = 0; pass < 5; ++pass)
        check_backend_start(now + static_cast<std::uint64_t>(pass) * period);
    EXPECT_EQ(backend_pid, -1);
    EXPECT_EQ(backend_stdinbuf, nullptr);
    EXPECT_EQ(last_notes, "");
    EXPECT_EQ(trace(), "");
}

TEST_F(StartCheck, WhatWaitsForABackendThatNobodyWantsIsDropped) {
    queue_texts({"*COMMAND=report\n\n"});
    check_backend_start(now);
    EXPECT_EQ(pending_line_count(), 0U);
}

TEST_F(StartCheck, FirstPassStartsTheBackend) {
    write_program(wait_for_ever);
    check_backend_start(now);
    EXPECT_GE(backend_pid, 0);
    EXPECT_EQ(next_backend_check, now + period);
}

TEST_F(StartCheck, NothingIsStartedBeforeTheCheckIsDue) {
    write_program(wait_for_ever);
    next_backend_check = now;
    check_backend_start(now - 1);
    EXPECT_EQ(backend_pid, -1);
    check_backend_start(now);
    EXPECT_GE(backend_pid, 0);
}

TEST_F(StartCheck, RunningBackendIsNotStartedAgain) {
    write_program(wait_for_ever);
    check_backend_start(now);
    const std::int32_t pid = backend_pid;
    check_backend_start(now + period);
    EXPECT_EQ(backend_pid, pid);
    EXPECT_EQ(next_backend_check, now + 2 * period) << "the check goes on all the same";
    EXPECT_EQ(last_notes, "Starting backend driver");
}

TEST_F(StartCheck, StoppedBackendIsStartedAgainAtTheNextCheckOnly) {
    write_program(wait_for_ever);
    check_backend_start(now);
    stop_backend();
    check_backend_start(now + period - 1);
    EXPECT_EQ(backend_pid, -1);
    check_backend_start(now + period);
    EXPECT_GE(backend_pid, 0);
}

TEST_F(StartCheck, NoCommandReachesADeadBackendUntilTheNextStart) {
    write_program("exit 1\n");
    check_backend_start(now);
    wait_for_end(backend_pid);
    check_backend_alive();
    check_backend_alive();
    EXPECT_FALSE(commands_reach_backend);
    check_backend_start(now + period - 1);
    EXPECT_FALSE(commands_reach_backend);
    check_backend_start(now + period);
    EXPECT_TRUE(commands_reach_backend);
}

TEST_F(StartCheck, BackendThatExitsAtOnceIsNotedAtEachRestart) {
    write_program("exit 1\n");
    for (int start = 0; start < 2; ++start) {
        check_backend_start(now + static_cast<std::uint64_t>(start) * period);
        wait_for_end(backend_pid);
        check_backend_alive();
        check_backend_alive();
        EXPECT_EQ(backend_pid, -1);
    }
    EXPECT_EQ(last_notes, "Starting backend driver\nStopping backend driver\n"
                          "Starting backend driver\nStopping backend driver");
}

TEST_F(StartCheck, NotesOfManyRestartsStayAtAboutTwentyLines) {
    write_program("exit 1\n");
    for (int start = 0; start < 15; ++start) {
        check_backend_start(now + static_cast<std::uint64_t>(start) * period);
        wait_for_end(backend_pid);
        check_backend_alive();
        check_backend_alive();
    }
    EXPECT_EQ(std::count(last_notes.begin(), last_notes.end(), '\n'), 22);
    EXPECT_TRUE(last_notes.ends_with("\nStarting backend driver\nStopping backend driver"));
}

TEST_F(StartCheck, LateCheckIsRebasedOnTheCurrentTime) {
    next_backend_check = now;
    check_backend_start(now + 7 * period);
    EXPECT_EQ(next_backend_check, now + 8 * period);
}

TEST_F(StartCheck, FailedStartIsTriedAgainAtTheNextCheck) {
    write_program(wait_for_ever);
    {
        const open_file_limit limit(0);
        check_backend_start(now);
    }
    EXPECT_EQ(backend_pid, -1);
    check_backend_start(now + period);
    EXPECT_GE(backend_pid, 0);
}

} // namespace
