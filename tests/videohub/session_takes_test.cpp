// What becomes of takes.
#include "session_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(VideohubSession, TakeIsSentByItsFlushAndConfirmedByTheRouter) {
    become_ready();
    add_take("0", "2");
    EXPECT_EQ(sent(), "");
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n\n");
    router_says("ACK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("VIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
    wait(2 * second);
    EXPECT_THAT(session.log, IsEmpty());
}

TEST_F(VideohubSession, SalvoIsOneBlockAndTheLastTakeOfAnOutputCounts) {
    become_ready();
    add_take("2", "0");
    add_take("0", "1");
    add_take("2", "3");
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n2 3\n\n");
}

TEST_F(VideohubSession, FlushOfNothingSendsNothing) {
    become_ready();
    flush();
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(VideohubSession, TakeOfTheSourceItHasIsConfirmedByTheAcknowledgement) {
    become_ready();
    take("0", "3");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 3\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
}

TEST_F(VideohubSession, AcknowledgedButUnconfirmedTakeIsToldAfterASecond) {
    become_ready();
    take("0", "2");
    router_says("ACK\n\n");
    wait(999 * ms);
    EXPECT_THAT(session.log, IsEmpty());
    wait(1 * ms);
    EXPECT_THAT(session.log, ElementsAre("<WARN>the router has not confirmed the take to output 1"));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(VideohubSession, LateConfirmationIsReportedAllTheSame) {
    become_ready();
    take("0", "2");
    wait(5 * second);
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
    EXPECT_EQ(session.failure, "");
}

TEST_F(VideohubSession, RefusedTakeIsToldWithTheSourcesThatWereKept) {
    become_ready();
    add_take("0", "2");
    add_take("2", "2");
    flush();
    router_says("NAK\n\n");
    EXPECT_THAT(session.log, ElementsAre("<WARN>the router refused the take to outputs 1, 3"));
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3 o2.input.all=1"));
}

TEST_F(VideohubSession, LockedOutputIsNotTakenButToldAndTheRestIs) {
    become_ready();
    add_take("0", "2");
    add_take("1", "2");
    add_take("2", "2"); // locked too, but by ourselves
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n2 2\n\n");
    EXPECT_THAT(session.log, ElementsAre("<WARN>output 2 is locked by another client of the router"));
    EXPECT_THAT(told(), ElementsAre("outputs o1.input.all=0"));
    router_says("VIDEO OUTPUT LOCKS:\n1 U\n\n");
    router_says("ACK\n\n");
    take("1", "2");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n1 2\n\n");
}

TEST_F(VideohubSession, NoSourceIsUnknownToTheRouter) {
    become_ready();
    take("0", "none");
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
    EXPECT_THAT(session.log, ElementsAre(HasSubstr("output 1 keeps its source")));
}

TEST_F(VideohubSession, NonsenseIsSkippedWithAWarning) {
    become_ready();
    add_take("x", "1");
    add_take("-1", "1");
    add_take("2000000000", "1");
    add_take("0", "");
    add_take("0", "-2");
    driver_says("route output",
                {{"queue", "add"}, {"to output", "0"}, {"from input", "1"}, {"control", "audio"}});
    driver_says("route output", {});
    EXPECT_EQ(session.log.size(), 7U);
    add_take("3", "0");
    add_take("1", "4");
    flush();
    EXPECT_EQ(session.log.size(), 9U);
    EXPECT_THAT(session.log, Contains("<WARN>take skipped: there is no output 4"));
    EXPECT_THAT(session.log, Contains("<WARN>take to output 2 skipped: there is no input 5"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, OneBlockOfTakesIsUnderWayAndWhatWaitsIsMerged) {
    become_ready();
    take("0", "0");
    sent();
    take("0", "1");
    take("0", "2");
    take("2", "3");
    EXPECT_EQ(sent(), "");
    router_says("ACK\n\n");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n2 3\n\n");
}

TEST_F(VideohubSession, SupersededTakeIsNeitherRepeatedNorShown) {
    become_ready();
    take("0", "0");
    take("0", "2");
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 0\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
}

TEST_F(VideohubSession, WaitingTakeIsGivenUpWhenTheDriverHasGivenItUp) {
    become_ready();
    take("0", "0");
    sent();
    wait(500 * ms);
    take("2", "3");
    wait(1 * second);
    EXPECT_THAT(session.log,
                Contains("<WARN>take to output 3 given up: the router has not answered the one before"));
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=1"));
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 0\n\n");
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, ConfirmedBlockHoldsUpNothingThoughItIsNotAnswered) {
    become_ready();
    take("0", "0");
    sent();
    router_says("VIDEO OUTPUT ROUTING:\n0 0\n\n");
    take("0", "1");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubSession, InterimSourceOfAnotherControllerDoesNotEndTheWait) {
    become_ready();
    take("0", "2");
    router_says("VIDEO OUTPUT ROUTING:\n0 1\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
}

TEST_F(VideohubSession, SourceOfAnotherControllerThatStaysIsShownAtTheDeadline) {
    become_ready();
    take("0", "2");
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 1\n\n");
    wait(1 * second);
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=1"));
    EXPECT_THAT(session.log, ElementsAre("<WARN>the router shows another source than was taken to output 1"));
}

// The driver would take the old source for the confirmation.
TEST_F(VideohubSession, ReportKeepsQuietAboutOpenTakes) {
    become_ready();
    take("0", "2");
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), ElementsAre("outputs o0.name=Studio o1.input.all=0 o1.name=Monitor A o2.input.all=1 "
                                    "o2.name=Air"));
}

TEST_F(VideohubSession, UnansweredTakeBreaksTheConnection) {
    become_ready();
    take("0", "2");
    wait(1 * second);
    EXPECT_EQ(next_session_time(session, now), now + 9 * second);
    wait(8 * second);
    EXPECT_EQ(session.failure, "");
    wait(1 * second);
    EXPECT_EQ(session.failure, "it does not answer");
}

TEST_F(VideohubSession, AnswersBelongToTheirBlocksInOrder) {
    become_ready();
    wait(15 * second); // a PING
    driver_says("router set", {{"output.0.name", "A"}});
    take("0", "2");
    router_says("ACK\n\nNAK\n\n");
    EXPECT_THAT(session.log, ElementsAre("<WARN>the router refused the names"));
    told();
    router_says("NAK\n\n");
    EXPECT_THAT(session.log, Contains("<WARN>the router refused the take to output 1"));
    router_says("NAK\n\nACK\n\n"); // answers that nobody waits for
    EXPECT_EQ(session.log.size(), 2U);
}

TEST_F(VideohubSession, TakesAreRefusedWhileReadingAndNotKept) {
    router_says(preamble_text);
    take("0", "2");
    EXPECT_THAT(session.log,
                ElementsAre("<WARN>take to output 1 refused: the router's state is still being read"));
    router_says(whole_state_text);
    wait(1 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, TakesAreRefusedWhileOfflineAndNotKept) {
    close_session(session);
    take("0", "2");
    EXPECT_THAT(session.log, ElementsAre("<WARN>take to output 1 refused: not connected to the router"));
    open_session(session, now);
    router_says(whole_state_text);
    wait(1 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, TakesOnTheirWayDieWithTheConnection) {
    become_ready();
    take("0", "2");
    take("2", "2");
    close_session(session);
    EXPECT_THAT(session.log,
                ElementsAre("<WARN>take to outputs 1, 3 given up: the connection to the router is lost"));
    EXPECT_EQ(sent(), "");
    open_session(session, now);
    router_says(whole_state_text);
    wait(2 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, AnotherDeviceEndsTheTakesOfTheOldOne) {
    become_ready();
    take("2", "2");
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 1\nVideo outputs: 1\n\nNAK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_THAT(session.log, Contains(HasSubstr("take to output 3 given up")));
}

TEST_F(VideohubSession, NamesAreSentAsLabelsAndShownOnceTheRouterShowsThem) {
    become_ready();
    driver_says("router set", {{"output.2.name", "On air\nVIDEO"}, {"input.0.name", "Cam 1"}});
    EXPECT_EQ(sent(), "INPUT LABELS:\n0 Cam 1\n\nOUTPUT LABELS:\n2 On air VIDEO\n\n");
    router_says("ACK\n\nACK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("OUTPUT LABELS:\n2 On air VIDEO\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o2.name=On air VIDEO"));
}

TEST_F(VideohubSession, UnknownPropertiesAreSkippedWithAWarning) {
    become_ready();
    driver_says("router set", {{"output.3.name", "x"},
                               {"output.0.colour", "red"},
                               {"input.x.name", "x"},
                               {"input.name", "x"},
                               {"output..name", "x"}});
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(session.log, ElementsAre("<WARN>5 properties skipped that this router does not have"));
}

TEST_F(VideohubSession, NamesAreRefusedWhileThereIsNoRouter) {
    driver_says("router set", {{"output.0.name", "x"}});
    EXPECT_THAT(session.log, ElementsAre("<WARN>names refused: the router's state is still being read"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubSession, NamesThatTheRouterCannotTakeInAreRefused) {
    become_ready();
    driver_says("router set", {{"output.0.name", std::string(100000, 'x')}});
    for (int n = 0; n < 5; ++n) {
        driver_says("router set", {{"output.0.name", "x"}});
    }
    EXPECT_THAT(session.log, ElementsAre("<WARN>names refused: they are too long",
                                         "<WARN>names refused: the router has not answered the ones before"));
}
