// Takes, from the driver's word to the router's.
#include "session_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;

TEST_F(SierraSession, TakeIsConfirmedByWhatTheRouterShows) {
    become_ready();
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    EXPECT_THAT(reported, IsEmpty());
    EXPECT_EQ(pass("** X3,5,0 OK !!\r"), "");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "4"), Pair("o2.input.video", "4")));
}

TEST_F(SierraSession, BreakawayIsOneString) {
    become_ready();
    add_take("2", "4", "video");
    add_take("2", "1", "audio");
    EXPECT_EQ(flush(), "**X3,5,1X3,2,2X3,2,3!!");
    pass("** X3,5,1 X3,2,2 X3,2,3 OK !!\r");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "1"), Pair("o2.input.video", "4")));
}

TEST_F(SierraSession, SalvoIsOneString) {
    become_ready();
    add_take("0", "4");
    add_take("1", "none");
    EXPECT_EQ(flush(), "**X1,5,0X2,-,0!!");
    pass("** X1,5,0 X2,-,0 OK !!\r");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "4")));
    EXPECT_THAT(reported, Contains(Pair("o1.input.audio", "none")));
}

TEST_F(SierraSession, LargeSalvoIsSentInStringsOneAfterAnother) {
    read_up_to_status("L140,1,32,SDI~~");
    pass("** Y1,1 OK !!");
    for (int output = 0; output < 140; ++output) {
        add_take(std::to_string(output), "4");
    }
    std::string text = flush();
    std::size_t strings = 0;
    std::size_t takes = 0;
    while (!text.empty()) {
        ++strings;
        takes += static_cast<std::size_t>(std::count(text.begin(), text.end(), 'X'));
        std::string echo = text.substr(2, text.size() - 4);
        text = pass("** " + echo + " OK !!");
    }
    EXPECT_EQ(strings, 3U);
    EXPECT_EQ(takes, 140U);
    EXPECT_EQ(reported["o139.input.all"], "4");
}

TEST_F(SierraSession, TakeOfTheSameSourceIsConfirmedToo) {
    become_ready();
    EXPECT_EQ(take("2", "2"), "**X3,3,0!!");
    pass("** X3,3,0 OK !!");
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "2")));
}

TEST_F(SierraSession, TakeOfAnOutputWithoutAudioIsReportedWithoutAudio) {
    become_ready();
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    EXPECT_EQ(pass("** X3,5,1 OK !!"), "**O3!!");
    pass("** V3,5,0,0 OK !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "unknown"), Pair("o2.input.video", "4")));
}

TEST_F(SierraSession, BareOkIsNoConfirmation) {
    become_ready();
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    EXPECT_EQ(pass("** OK !!"), "**O3!!");
    EXPECT_THAT(reported, IsEmpty());
    pass("** X3,5,1 X3,5,2 X3,5,3 OK !!");
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "4")));
}

TEST_F(SierraSession, RouterWithoutSingleStatusIsAskedForAll) {
    read_up_to_status("L3,1,8,SDI~~", "ILSXU");
    pass("** V1,1 V2,2 V3,3 OK !!");
    take("2", "4");
    EXPECT_EQ(pass("** OK !!"), "**S!!");
}

TEST_F(SierraSession, OutputUnderWayIsLeftOutOfReports) {
    become_ready();
    take("2", "4");
    tell("report", "command", {{"what", "outputs"}});
    EXPECT_THAT(reported, Not(Contains(Key("o2.input.video"))));
    EXPECT_THAT(reported, Contains(Key("o1.input.video")));
}

TEST_F(SierraSession, InterimSourceDoesNotEndTheWait) {
    become_ready();
    take("2", "4");
    pass_after(50 * millisecond, "** X3,7,1 !!"); // somebody else was a little earlier
    EXPECT_THAT(reported, IsEmpty());
    pass_after(50 * millisecond, "** X3,5,0 OK !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "4"), Pair("o2.input.video", "4")));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SierraSession, WhatTheRouterShowsAtTheDeadlineIsReported) {
    become_ready();
    take("2", "4");
    EXPECT_EQ(pass("** OK !!"), "**O3!!");
    pass("** V3,7,3,3 OK !!");
    EXPECT_THAT(reported, IsEmpty());
    pass_after(confirmation_us);
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "2"), Pair("o2.input.video", "6")));
    EXPECT_THAT(log, ElementsAre("<WARN>the router shows another source than was taken to output 3"));
}

TEST_F(SierraSession, RefusedTakeIsToldAndTheKeptSourceReported) {
    become_ready();
    take("2", "4");
    EXPECT_EQ(pass("** ERROR text:output is locked !!"), "**O3!!");
    EXPECT_THAT(log, ElementsAre("<WARN>take to output 3 refused: text:output is locked"));
    EXPECT_THAT(refused, ElementsAre(fields{
                             {"from input", "4"}, {"text", "text:output is locked"}, {"to output", "2"}}));
    pass("** V3,3,3,3 OK !!");
    EXPECT_THAT(reported, ElementsAre(Pair("o2.input.audio", "2"), Pair("o2.input.video", "2")));
}

TEST_F(SierraSession, RefusalOfABreakawayNamesEachLevel) {
    become_ready();
    add_take("2", "4", "video");
    add_take("2", "1", "audio");
    flush();
    pass("** ERROR text:locked !!");
    EXPECT_THAT(
        refused,
        ElementsAre(
            fields{{"control", "video"}, {"from input", "4"}, {"text", "text:locked"}, {"to output", "2"}},
            fields{{"control", "audio"}, {"from input", "1"}, {"text", "text:locked"}, {"to output", "2"}}));
}

TEST_F(SierraSession, SalvoInOneMessageIsOneStringUntilItsTimeIsOver) {
    become_ready();
    const fields salvo = {{"expires", "1000500"}, {"take.0000", "0 4 video"}, {"take.0001", "2 none"}};
    tell("route outputs", "command", salvo);
    EXPECT_EQ(pass(), "**X1,5,1X3,-,0!!");
    tell("route outputs", "command", {{"expires", "1000300"}, {"take.0000", "1 4"}});
    EXPECT_EQ(pass_after(300 * millisecond, "** X1,5,1 X3,-,0 OK !!"), "") << "its turn comes too late";
    EXPECT_THAT(refused, ElementsAre(fields{{"from input", "4"},
                                            {"text", "came too late: the router was busy"},
                                            {"to output", "1"}}));
    now += 200 * millisecond;
    tell("route outputs", "command", salvo);
    EXPECT_EQ(refused.size(), 3U);
    EXPECT_EQ(pass(), "");
}

TEST_F(SierraSession, ErrorInASalvoStaysWithItsOutput) {
    become_ready();
    add_take("0", "4");
    add_take("1", "4");
    add_take("2", "4");
    EXPECT_EQ(flush(), "**X1,5,0X2,5,0X3,5,0!!");
    EXPECT_EQ(pass("** X1,5,0 ERROR text:locked !!"), "**X2,5,0!!");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "4")));
    EXPECT_EQ(pass("** ERROR text:locked !!"), "**O2!!");
    EXPECT_EQ(pass("** V2,2,2,2 OK !!"), "**X3,5,0!!");
    EXPECT_EQ(pass("** X3,5,0 OK !!"), "");
    EXPECT_THAT(reported, Contains(Pair("o1.input.video", "1")));
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "4")));
    EXPECT_THAT(log, ElementsAre("<WARN>take to output 2 refused: text:locked"));
}

TEST_F(SierraSession, UnansweredTakeIsSentASecondTimeAndNoMore) {
    become_ready();
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    EXPECT_EQ(pass_after(take_answer_limit_us - 1), "");
    EXPECT_EQ(pass_after(1), "**X3,5,0!!");
    EXPECT_EQ(pass_after(take_answer_limit_us), "**L!!");
    EXPECT_THAT(log, ElementsAre("<WARN>the router does not answer to the take to output 3"));
    EXPECT_EQ(pass("** X3,5,0 OK !!** X3,5,0 OK !!** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**O3!!");
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "4"))); // late, and true
}

TEST_F(SierraSession, ReportsOfOthersDoNotKeepALostTakeAlive) {
    become_ready();
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    std::string sent;
    for (int n = 0; n < 12; ++n) {
        sent += pass_after(100 * millisecond, "** X1,7,1 !!");
        EXPECT_EQ(sent.empty(), n < 5) << n;
    }
    EXPECT_EQ(sent, "**X3,5,0!!**L!!");
    EXPECT_THAT(log, ElementsAre("<WARN>the router does not answer to the take to output 3"));
}

TEST_F(SierraSession, AfterARepetitionAnswersAreSortedOutFirst) {
    become_ready();
    take("2", "4");
    EXPECT_EQ(pass_after(take_answer_limit_us), "**X3,5,0!!");
    add_take("0", "6");
    tell("route output", "command", {{"queue", "flush"}});
    EXPECT_EQ(pass("** X3,5,0 OK !!"), "**L!!");
    EXPECT_EQ(pass("** OK !!"), "") << "the second answer to the first take";
    EXPECT_EQ(pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**X1,7,0!!");
}

TEST_F(SierraSession, OkForOtherOutputsAnswersNothing) {
    become_ready();
    take("2", "4");
    EXPECT_EQ(pass("** X1,5,0 OK !!"), "");
    EXPECT_TRUE(talk.queue.outstanding);
    EXPECT_THAT(reported, Not(Contains(Key("o2.input.video"))));
}

TEST_F(SierraSession, SupersededTakeIsNeitherSentNorRepeated) {
    become_ready();
    EXPECT_EQ(take("0", "4"), "**X1,5,0!!");
    EXPECT_EQ(take("1", "4"), ""); // waits
    EXPECT_EQ(take("1", "5"), ""); // instead
    EXPECT_EQ(take("0", "6"), "");
    EXPECT_EQ(pass_after(take_answer_limit_us), "**L!!") << "not the old take of output 1 again";
    EXPECT_EQ(pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!"), "**X2,6,0!!");
    EXPECT_EQ(pass("** X2,6,0 OK !!"), "**X1,7,0!!");
    EXPECT_EQ(pass("** X1,7,0 OK !!"), "");
    EXPECT_THAT(reported, Contains(Pair("o0.input.video", "6")));
}

TEST_F(SierraSession, TakesGoBeforeAStatusThatWaits) {
    become_ready();
    take("0", "4");
    talk.status_due = now;
    pass();
    add_take("1", "4");
    tell("route output", "command", {{"queue", "flush"}});
    EXPECT_EQ(pass("** X1,5,0 OK !!"), "**X2,5,0!!");
    EXPECT_EQ(pass("** X2,5,0 OK !!"), "**S!!");
}

TEST_F(SierraSession, TakesAreRefusedWhileNotConnected) {
    EXPECT_EQ(take("0", "4"), "");
    EXPECT_THAT(log, ElementsAre("<WARN>take to output 1 refused: not connected to the router"));
    log.clear();
    read_up_to_status();
    add_take("0", "4");
    add_take("1", "4");
    EXPECT_EQ(flush(), "");
    EXPECT_THAT(log,
                ElementsAre("<WARN>take to outputs 1, 2 refused: the router's state is still being read"));
    EXPECT_EQ(pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!"), "") << "they do not come later";
}

TEST_F(SierraSession, TakesUnderWayDieWithTheConnection) {
    become_ready();
    take("0", "4");
    take("1", "4");
    lose();
    EXPECT_THAT(log, ElementsAre("<WARN>take to output 2 refused: the connection is lost",
                                 "<WARN>take to output 1 given up: the connection is lost"));
    become_ready();
    EXPECT_EQ(pass_after(second), "");
}

TEST_F(SierraSession, TakeThatWaitedTooLongIsDropped) {
    become_ready();
    EXPECT_EQ(pass_after(status_period_us), "**S!!"); // whose answer needs its time
    take("0", "4");
    for (int n = 0; n < 20; ++n) {
        pass_after(oldest_take_us / 20, "** V1,1,1,1 !!");
    }
    EXPECT_THAT(log, Contains("<WARN>take to output 1 refused: came too late: the router was busy"));
    EXPECT_EQ(pass("** V2,2,2,2 V3,3,3,3 OK !!"), "");
}

TEST_F(SierraSession, TakeIsNotSentAfterTheDriverHasRolledItBack) {
    become_ready();
    EXPECT_EQ(pass_after(status_period_us), "**S!!");
    take("0", "4");
    EXPECT_EQ(pass_after(second - 1, "** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!"), "**X1,5,0!!");
    pass("** X1,5,0 OK !!");
    EXPECT_EQ(pass_after(status_period_us), "**S!!");
    take("0", "6");
    EXPECT_EQ(pass_after(second, "** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!"), "");
    EXPECT_THAT(log, Contains("<WARN>take to output 1 refused: came too late: the router was busy"));
}

TEST_F(SierraSession, OnASerialLineOnlyTheRestOfASalvoMayBeLate) {
    ASSERT_EQ(connect(1000), "**!!");
    pass("** OK !!");
    pass("** ILSXO~ OK !!");
    pass("** Qa~b~ OK !!");
    pass("** L140,1,32,SDI~~ OK !!");
    pass("** OK !!");
    pass("** Y1,1 OK !!");
    for (int output = 0; output < 140; ++output) {
        add_take(std::to_string(output), "4");
    }
    const auto echo = [](const std::string& text) {
        return "** " + text.substr(2, text.size() - 4) + " OK !!";
    };
    const std::string first = flush();
    const std::string second_string = pass_after(1200 * millisecond, echo(first));
    EXPECT_THAT(second_string, HasSubstr("X65,5,0"));
    add_take("0", "6"); // this one is not of the salvo
    tell("route output", "command", {{"queue", "flush"}});
    EXPECT_THAT(pass_after(1200 * millisecond, echo(second_string)), HasSubstr("X129,5,0"));
    EXPECT_THAT(log, Contains("<WARN>take to output 1 refused: came too late: the router was busy"));
}

TEST_F(SierraSession, FarRouterIsGivenMoreTime) {
    ASSERT_EQ(connect(), "**!!");
    pass_after(5 * second, "** OK !!");
    pass_after(5 * second, "** ILSXO~ OK !!");
    pass_after(5 * second, "** Qa~b~ OK !!");
    pass_after(5 * second, "** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!");
    pass_after(5 * second, "** OK !!");
    pass_after(5 * second, "** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!");
    ASSERT_EQ(talk.driver.state, router_state::ready);
    EXPECT_EQ(take("2", "4"), "**X3,5,0!!");
    EXPECT_EQ(pass_after(4 * second), "");
    reported.clear();
    EXPECT_EQ(pass_after(second, "** X3,5,0 OK !!"), "");
    EXPECT_THAT(reported, Contains(Pair("o2.input.video", "4")));
}

TEST_F(SierraSession, SlowLineIsGivenTheTimeOfItsBytes) {
    ASSERT_EQ(connect(1000), "**!!");
    pass("** OK !!");
    pass("** ILSXO~ OK !!");
    pass("** Qa~b~ OK !!");
    pass("** L3,3,8,VIDEO~AudioL~AudioR~~ OK !!");
    pass("** OK !!");
    pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!");
    const std::string text = take("2", "4");
    EXPECT_EQ(pass_after(take_answer_limit_us + text.size() * 1000 - 1), "");
    EXPECT_EQ(pass_after(1), text);
}

TEST_F(SierraSession, TakesThatCannotBeAreSkippedWithAWarning) {
    become_ready();
    add_take("3", "0");
    add_take("0", "8");
    add_take("x", "0");
    add_take("0", "-1");
    add_take("0", "0", "smell");
    EXPECT_EQ(flush(), "");
    EXPECT_EQ(log.size(), 5U);
    EXPECT_THAT(log, Contains("<WARN>take to output 4 refused: there is no output 4"));
    EXPECT_THAT(log, Contains("<WARN>take to output 1 refused: there is no input 9"));
    EXPECT_THAT(log, Contains("<WARN>take to the unreadable output 'x' skipped"));
}
