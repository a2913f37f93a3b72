// The start, reports of changes, and what goes wrong with the connection.
#include "session_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

TEST_F(SierraSession, ReadsTheRouterInOrder) {
    read_up_to_status();
    EXPECT_THAT(info, ElementsAre(Pair("inputs", "8"), Pair("output routing controls", "video,audio"),
                                  Pair("outputs", "3"), Pair("salvo", "yes")));
    EXPECT_EQ(talk.driver.state, router_state::reading);
    EXPECT_EQ(pass("** X1,5,1 X1,6,2 X1,6,3 X2,-,1 X2,0,2 X2,0,3 OK !!\r"), "");
    EXPECT_EQ(talk.driver.state, router_state::ready);
    EXPECT_THAT(log, Contains("<NOTE>router Aspen 1.0: 3 outputs, 8 inputs, levels VIDEO (video), AudioL "
                              "(audio), AudioR (audio)"));
}

TEST_F(SierraSession, EchoOfTheCommandBeforeTheOkIsAnAnswer) {
    ASSERT_EQ(connect(), "**!!");
    pass("** OK !!");
    pass("** ILSXOUV~ OK !!");
    pass("** QAspen~1.0~ OK !!");
    ASSERT_EQ(pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**U2!!");
    EXPECT_EQ(pass("** X1,2,1 OK !!"), "") << "the answer to the take of somebody else";
    EXPECT_EQ(pass("** U2 OK !!"), "**S!!");
}

TEST_F(SierraSession, WhatTheRouterDoesNotKnowIsUnknown) {
    read_up_to_status();
    pass("** X1,5,1 X1,6,2 X1,6,3 X2,-,1 X2,0,2 X2,0,3 OK !!\r");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "4")));
    EXPECT_THAT(reported, Contains(Pair("o0.input.audio", "5")));
    EXPECT_THAT(reported, Contains(Pair("o1.input.video", "none")));
    EXPECT_THAT(reported, Contains(Pair("o1.input.audio", "unknown")));
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "unknown"))) << "the status left it out";
}

TEST_F(SierraSession, SourceThatBecomesUnknownIsTakenBack) {
    become_ready();
    pass("** X1,0,1 !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o0.input.audio", "0"), Pair("o0.input.video", "unknown")));
}

TEST_F(SierraSession, CrosspointThatIsGoneAfterAReconnectIsTakenBack) {
    become_ready();
    lose();
    read_up_to_status();
    pass("** V1,0,1,1 V2,2,0,0 V3,3,3,3 OK !!");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "unknown")));
    EXPECT_THAT(reported, Contains(Pair("o1.input.audio", "unknown")));
    EXPECT_THAT(reported, Contains(Pair("o1.input.video", "1")));
}

TEST_F(SierraSession, RouterOfOneLevelIsReportedAsAWhole) {
    read_up_to_status("L140,1,32,SDI~~");
    pass("** Y140,32 X1,-,1 OK !!\r");
    EXPECT_THAT(info, ElementsAre(Pair("inputs", "32"), Pair("outputs", "140"), Pair("salvo", "yes")));
    EXPECT_THAT(reported, Contains(Pair("o139.input.all", "31")));
    EXPECT_THAT(reported, Contains(Pair("o0.input.all", "none")));
}

TEST_F(SierraSession, NamesComeFromTheItem) {
    talk.settings.input_names = {{1, "CAM 1"}, {9, "beyond"}};
    talk.settings.output_names = {{3, "Monitor"}};
    read_up_to_status();
    EXPECT_THAT(reported, Contains(Pair("i0.name", "CAM 1")));
    EXPECT_THAT(reported, Contains(Pair("o2.name", "Monitor")));
    EXPECT_THAT(reported, Contains(Pair("i7.name", ""))) << "the driver may have one of another router";
    EXPECT_THAT(reported, Contains(Pair("o0.name", "")));
    EXPECT_THAT(reported, Not(Contains(Key("i8.name"))));
}

TEST_F(SierraSession, StatusInManyStringsEndsWithoutOkAfterAPause) {
    read_up_to_status();
    EXPECT_EQ(pass("** X3,3,1 !! ** V2,2,2,2 !!"), "");
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "unknown"))) << "until all of it has come";
    pass_after(100 * millisecond, "** V1,1,1,1 X3,3,2 X3,3,3 !!");
    EXPECT_EQ(talk.driver.state, router_state::reading);
    pass_after(status_quiet_us - 1);
    EXPECT_EQ(talk.driver.state, router_state::reading);
    pass_after(1);
    EXPECT_EQ(talk.driver.state, router_state::ready);
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "2")));
}

TEST_F(SierraSession, StatusThatLeavesCrosspointsOutEndsAfterALongerPause) {
    read_up_to_status();
    pass("** V1,1,1,1 !!");
    pass_after(incomplete_status_quiet_us - 1);
    EXPECT_EQ(talk.driver.state, router_state::reading);
    pass_after(1);
    EXPECT_EQ(talk.driver.state, router_state::ready);
}

TEST_F(SierraSession, StatusThatNeverHasAnOkIsOverWhenItIsComplete) {
    read_up_to_status();
    pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 !!");
    pass_after(status_quiet_us);
    ASSERT_EQ(talk.driver.state, router_state::ready);
    EXPECT_EQ(pass_after(status_period_us), "**S!!");
    pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 !!");
    pass();
    EXPECT_FALSE(talk.queue.outstanding);
}

TEST_F(SierraSession, StatusIsReadEveryThirtySeconds) {
    become_ready();
    EXPECT_EQ(pass_after(status_period_us - 1), "**!!"); // a link test after so much silence
    EXPECT_EQ(pass_after(1, "** OK !!"), "**S!!");
    pass("** V1,8,1,1 V2,2,2,2 V3,3,3,3 OK !!\r");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "7")));
    EXPECT_EQ(next_due_time(talk), std::min(talk.status_due, talk.link_test_due));
}

TEST_F(SierraSession, ChangesAreReportedAtOnce) {
    become_ready();
    pass("** X2,7,1 !!\r");
    EXPECT_THAT(reported, ElementsAre(Pair("o1.input.audio", "1"), Pair("o1.input.video", "6")));
    reported.clear();
    pass("** Y3,8 !!\r** V1,4,5,5 !!\r");
    EXPECT_THAT(reported, Contains(Pair("o2.input.audio", "7")));
    EXPECT_THAT(reported, Contains(Pair("o0.input.audio", "4")));
    reported.clear();
    pass("** X2,7,1 !!\r"); // no change
    EXPECT_THAT(reported, IsEmpty());
}

TEST_F(SierraSession, ConversationCutAtEveryByteIsTheSame) {
    const std::string said = "** X2,7,1 !!\r** Y3,8 V1,4,-,0 !!\r";
    become_ready();
    pass(said);
    const fields whole = reported;
    ASSERT_EQ(whole.size(), 6U);
    ASSERT_EQ(whole.at("o0.input.audio"), "none"); // on one level; the other does not exist
    for (std::size_t cut = 1; cut < said.size(); ++cut) {
        lose();
        become_ready();
        pass(said.substr(0, cut));
        pass(said.substr(cut));
        EXPECT_EQ(reported, whole) << "cut at " << cut;
    }
}

TEST_F(SierraSession, RestartOfTheRouterReadsEverythingAgain) {
    become_ready();
    EXPECT_EQ(pass("** RESET Aspen~ !!\r"), "**!!");
    EXPECT_EQ(talk.driver.state, router_state::reading);
    EXPECT_FALSE(size_known(talk.picture));
    EXPECT_EQ(pass("** OK !!"), "**I!!");
    EXPECT_EQ(pass("** ILSX~ OK !!"), "**Q!!");
    EXPECT_EQ(pass("** QAspen~2.0~ OK !!"), "**L!!");
    EXPECT_EQ(pass("** L2,1,4,SDI~~ OK !!"), "**U2!!");
    EXPECT_THAT(info, ElementsAre(Pair("inputs", "4"), Pair("outputs", "2"), Pair("salvo", "yes")));
    EXPECT_EQ(pass("** OK !!"), "**S!!");
}

TEST_F(SierraSession, RestartsWithoutEndDoNotFillTheLog) {
    become_ready();
    const std::string restart = "** RESET!!\r";
    for (int n = 0; n < 100; ++n) {
        EXPECT_EQ(pass_after(rare_line_period_us / 100, restart), "**!!");
    }
    EXPECT_THAT(log, ElementsAre("<NOTE>the router has restarted, everything is read again"));
    log.clear();
    pass_after(rare_line_period_us / 100, restart);
    EXPECT_THAT(log,
                ElementsAre("<NOTE>the router has restarted, everything is read again (99 more such lines "
                            "were left out)"));
    EXPECT_EQ(talk.driver.state, router_state::reading);
}

TEST_F(SierraSession, RestartsBetweenWholeReadingsDoNotFillTheLog) {
    talk.settings.audio_level = "absent"; // told with each reading
    read_up_to_status();
    pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!\r");
    log.clear();
    now += rare_line_period_us;
    for (int n = 0; n < 10; ++n) {
        ASSERT_EQ(pass("** RESET!!\r"), "**!!");
        ASSERT_EQ(pass("** ERROR busy~ !!\r"), "**I!!");
        ASSERT_EQ(pass("** ILSXOUV~ OK !!\r"), "**Q!!");
        ASSERT_EQ(pass("** ERROR busy~ !!\r"), "**L!!");
        ASSERT_EQ(pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!\r"), "**U2!!");
        ASSERT_EQ(pass("** ERROR busy~ !!\r"), "**U1!!");
        ASSERT_EQ(pass("** ERROR busy~ !!\r"), "**S!!");
        ASSERT_EQ(pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!\r"), "");
        ASSERT_EQ(talk.driver.state, router_state::ready);
    }
    const log_lines once = log;
    EXPECT_THAT(once, SizeIs(6)) << "of the restart, the level, three refusals, and the router";
    EXPECT_EQ(std::set<std::string>(once.begin(), once.end()).size(), once.size());
    pass("** RESET!!\r");
    EXPECT_EQ(log, once);
}

TEST_F(SierraSession, NothingIsTrueAfterAReconnectBeforeItWasRead) {
    become_ready();
    lose();
    tell("report", "command", {{"what", "outputs"}});
    tell("report", "command", {{"what", "inputs"}});
    EXPECT_THAT(reported, IsEmpty());
    read_up_to_status();
    EXPECT_THAT(reported, Contains(Pair("o1.input.video", "unknown")));
    reported.clear();
    tell("report", "command", {{"what", "outputs"}});
    pass("** V2,8,8,8 !!");
    EXPECT_THAT(reported, Not(Contains(Key(HasSubstr(".input.")))));
    pass("** V1,1,1,1 V3,3,3,3 OK !!");
    EXPECT_THAT(reported, Contains(Pair("o1.input.video", "7")));
}

TEST_F(SierraSession, SilentRouterIsAskedTwiceAndGivenUp) {
    ASSERT_EQ(connect(), "**!!");
    EXPECT_EQ(pass_after(answer_limit_us - 1), "");
    EXPECT_EQ(pass_after(1), "**!!");
    EXPECT_EQ(failure, "");
    pass_after(answer_limit_us);
    EXPECT_EQ(failure, "no answer to **!!");
}

TEST_F(SierraSession, SecondAnswerToARepeatedCommandIsNotTakenForAnother) {
    ASSERT_EQ(connect(), "**!!");
    EXPECT_EQ(pass_after(answer_limit_us), "**!!");
    EXPECT_EQ(pass("** OK !!"), "**I!!");
    EXPECT_EQ(pass("** OK !!"), ""); // the second one
    EXPECT_EQ(pass("** ILSX~ OK !!"), "**Q!!");
}

TEST_F(SierraSession, LinkIsTestedAfterSilence) {
    become_ready();
    EXPECT_EQ(pass_after(link_test_period_us), "**!!");
    EXPECT_EQ(pass_after(answer_limit_us), "**!!");
    pass_after(answer_limit_us);
    EXPECT_EQ(failure, "no answer to **!!");
}

TEST_F(SierraSession, CommandsThatAreOfUseButNotNeededMayBeRefused) {
    ASSERT_EQ(connect(), "**!!");
    pass("** OK !!");
    pass("** ERROR text:what? !!");
    EXPECT_EQ(pass("** ERROR text:what? !!"), "**L!!");
    pass("** L1,1,1,SDI~~ OK !!");
    EXPECT_EQ(pass("** ERROR text:what? !!"), "**U1!!");
    EXPECT_EQ(pass("** ERROR text:what? !!"), "**S!!");
    EXPECT_THAT(log, Contains(StartsWith("<WARN>the router does not tell changes")));
    EXPECT_EQ(failure, "");
}

TEST_F(SierraSession, RouterThatTellsNoChangesIsPolled) {
    ASSERT_EQ(connect(), "**!!");
    pass("** OK !!");
    pass("** ILSX~ OK !!");
    pass("** Qa~b~ OK !!");
    pass("** L1,1,4,SDI~~ OK !!");
    pass("** ERROR text:what? !!");
    ASSERT_EQ(pass("** ERROR text:what? !!"), "**S!!");
    pass("** X1,1,1 OK !!");
    EXPECT_EQ(pass_after(4999 * millisecond), "");
    EXPECT_EQ(pass_after(1 * millisecond), "**S!!");
    pass("** X1,3,1 OK !!");
    EXPECT_THAT(reported, Contains(Pair("o0.input.all", "2")));
    tell("set", "message", {{"name", "poll ms"}, {"value", "1000"}});
    EXPECT_EQ(pass_after(5 * second), "**S!!");
    pass("** X1,3,1 OK !!");
    EXPECT_EQ(pass_after(1 * second), "**S!!");
}

TEST_F(SierraSession, RouterWithDelayedReportsAloneIsNotPolled) {
    ASSERT_EQ(connect(), "**!!");
    pass("** OK !!");
    pass("** ILSX~ OK !!");
    pass("** Qa~b~ OK !!");
    pass("** L1,1,4,SDI~~ OK !!");
    ASSERT_EQ(pass("** ERROR text:what? !!"), "**U1!!");
    ASSERT_EQ(pass("** U1 OK !!"), "**S!!");
    pass("** X1,1,1 OK !!");
    EXPECT_EQ(pass_after(9 * second), "");
}

TEST_F(SierraSession, LocksAreSetWithThePasswordOfTheItem) {
    talk.settings.lock_password = "6741";
    become_ready();
    tell("router set", "command", {{"output.2.lock", "own"}});
    EXPECT_EQ(pass(), "**B3,6741,1!!");
    pass("** B3,6741,1 OK !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.lock", "own")));
    tell("router set", "command", {{"output.2.lock", "free"}});
    EXPECT_EQ(pass(), "**B3,6741,0!!");
    pass("** ERROR text:password !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.lock", "own")));
    EXPECT_THAT(log, ElementsAre("<WARN>output 3: the router refuses the lock: text:password"));
}

TEST_F(SierraSession, LockThatIsNotAnsweredDoesNotShowItsPassword) {
    talk.settings.lock_password = "6741";
    become_ready();
    tell("router set", "command", {{"output.2.lock", "own"}});
    EXPECT_EQ(pass(), "**B3,6741,1!!");
    pass_after(answer_limit_us);
    pass_after(answer_limit_us);
    EXPECT_EQ(failure, "no answer to a lock");
}

TEST_F(SierraSession, LocksOfOthersAreShown) {
    become_ready();
    pass("** B2,99,1 !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o1.lock", "other")));
    pass("** B2,99,0 !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o1.lock", "free")));
}

TEST_F(SierraSession, LockWithoutAPasswordIsNotSent) {
    become_ready();
    tell("router set", "command", {{"output.2.lock", "own"}, {"output.1.lock", "force"}});
    EXPECT_EQ(pass(), "");
    EXPECT_EQ(log.size(), 2U);
}

TEST_F(SierraSession, RouterThatDoesNotTellItsSizeIsGivenUp) {
    ASSERT_EQ(connect(), "**!!");
    pass("** OK !!");
    pass("** ILSX~ OK !!");
    pass("** Qa~b~ OK !!");
    pass("** ERROR text:busy !!");
    EXPECT_EQ(failure, "the router refuses **L!!: text:busy");
}

TEST_F(SierraSession, AfterGarbageTheStateIsReadAgain) {
    become_ready();
    EXPECT_EQ(pass("** X2,#,1 !!"), "**L!!"); // whatever else comes before its answer is older
    EXPECT_EQ(pass("** OK !! ** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**S!!");
    EXPECT_THAT(log, ElementsAre("<WARN>the router sent what cannot be read: 'X2,#,1'"));
    EXPECT_EQ(pass("noise ** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!"), "");
    EXPECT_EQ(log.size(), 1U); // not once per byte of it
}

TEST_F(SierraSession, SecondGarbageIsReadAgainWhenThePeriodIsOver) {
    become_ready();
    EXPECT_EQ(pass("noise"), "**L!!");
    EXPECT_EQ(pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**S!!");
    EXPECT_EQ(pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!"), "");
    EXPECT_EQ(pass_after(second, "** X2,#,1 !!"), "");
    EXPECT_EQ(pass_after(garbage_period_us - second - 1), "");
    EXPECT_EQ(next_due_time(talk), now + 1);
    EXPECT_EQ(pass_after(1), "**S!!");
    EXPECT_EQ(log.size(), 1U);
}

TEST_F(SierraSession, AnotherSizeThanBeforeReadsEverythingAgain) {
    become_ready();
    EXPECT_EQ(pass("noise ** V1,1,1,1 !!"), "**L!!");
    EXPECT_EQ(pass("** L5,1,4,SDI~~ OK !!"), "**!!");
    EXPECT_THAT(log, Contains("<NOTE>the router's size has changed, everything is read again"));
}

TEST_F(SierraSession, MegabytesWithoutAnEndAreGivenUp) {
    become_ready();
    const std::string piece(65536, 'a');
    for (int n = 0; n < 17 && failure.empty(); ++n) {
        pass(piece);
        EXPECT_LE(talk.reader.content.size(), longest_string);
    }
    EXPECT_EQ(failure, "it sends what never ends");
}

TEST_F(SierraSession, LevelsFollowTheSettingsWhileItRuns) {
    become_ready();
    EXPECT_EQ(tell("set", "message", {{"name", "audio level"}, {"value", "AudioR"}}), changed_part::levels);
    pass("** V1,1,5,6 !!");
    EXPECT_THAT(reported, Contains(Pair("o0.input.audio", "5")));
    EXPECT_EQ(take("0", "7"), "**X1,8,1X1,8,3!!"); // the other level is left alone
}

TEST_F(SierraSession, NamesFollowTheSettingsWhileItRuns) {
    become_ready();
    EXPECT_EQ(tell("set", "message", {{"name", "output name 2"}, {"value", "Studio A"}}),
              changed_part::names);
    EXPECT_THAT(reported, Contains(Pair("o1.name", "Studio A")));
}

TEST_F(SierraSession, MessagesItDoesNotKnowAreSkippedWithAWarning) {
    become_ready();
    tell("make coffee", "command", {});
    tell("report", "command", {{"what", "weather"}});
    tell("route output", "command", {{"queue", "jump"}});
    EXPECT_THAT(log, ElementsAre(StartsWith("<WARN>unknown message 'make coffee'"),
                                 StartsWith("<WARN>report of the unknown 'weather'"),
                                 StartsWith("<WARN>route output with the unknown queue 'jump'")));
}
