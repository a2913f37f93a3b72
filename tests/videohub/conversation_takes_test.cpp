// What becomes of takes.
#include "conversation_fixture.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST_F(VideohubConversation, TakeIsSentByItsFlushAndConfirmedByTheRouter) {
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
    EXPECT_THAT(conversation.driver.log, IsEmpty());
}

TEST_F(VideohubConversation, SalvoIsOneBlockAndTheLastTakeOfAnOutputCounts) {
    become_ready();
    add_take("2", "0");
    add_take("0", "1");
    add_take("2", "3");
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n2 3\n\n");
}

TEST_F(VideohubConversation, FlushOfNothingSendsNothing) {
    become_ready();
    flush();
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(VideohubConversation, TakeOfTheSourceItHasIsConfirmedByTheAcknowledgement) {
    become_ready();
    take("0", "3");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 3\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
}

TEST_F(VideohubConversation, AcknowledgedButUnconfirmedTakeIsToldAfterASecond) {
    become_ready();
    take("0", "2");
    router_says("ACK\n\n");
    wait(999 * ms);
    EXPECT_THAT(conversation.driver.log, IsEmpty());
    wait(1 * ms);
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>the router has not confirmed the take to output 1"));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(VideohubConversation, LateConfirmationIsReportedAllTheSame) {
    become_ready();
    take("0", "2");
    wait(5 * second);
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
    EXPECT_EQ(conversation.router.failure, "");
}

TEST_F(VideohubConversation, RefusedTakeIsToldWithTheSourceThatWasKept) {
    become_ready();
    take("0", "2");
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.driver.log, ElementsAre("<WARN>take to output 1 refused: the router said NAK"));
    EXPECT_THAT(told(), ElementsAre("refused from input=2 text=the router said NAK to output=0",
                                    "outputs o0.input.all=3"));
}

TEST_F(VideohubConversation, RefusedBlockIsTriedAgainTakeByTakeInOrder) {
    become_ready();
    for (const char* const output : {"0", "2"}) {
        add_take(output, "2");
    }
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n2 2\n\n");
    router_says("NAK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n\n");
    router_says("NAK\n\n");
    EXPECT_THAT(told(), ElementsAre("refused from input=2 text=the router said NAK to output=0",
                                    "outputs o0.input.all=3"));
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n2 2\n\n");
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n2 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=2"));
}

TEST_F(VideohubConversation, NewerTakeReplacesOneThatWasToBeTriedAgain) {
    become_ready();
    add_take("0", "2");
    add_take("2", "2");
    flush();
    sent();
    router_says("NAK\n\n");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n\n");
    take("2", "3");
    router_says("ACK\n\n");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n2 3\n\n");
}

TEST_F(VideohubConversation, RouterThatReadsOneLinePerBlockIsSentEachTakeAlone) {
    become_ready();
    conversation.one_take_per_block = true;
    add_take("2", "2");
    add_take("0", "1");
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n2 2\n\n");
    router_says("ACK\n\n");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubConversation, MonitoringOutputsHaveBlocksOfTheirOwn) {
    conversation.with_monitors = true;
    open_conversation(conversation, now);
    router_says(preamble_text +
                "VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n"
                "Video monitoring outputs: 1\n\nVIDEO OUTPUT ROUTING:\n0 3\n1 0\n\n"
                "VIDEO MONITORING OUTPUT ROUTING:\n0 2\n\n" +
                end_text);
    EXPECT_THAT(told(), Contains(HasSubstr("o2.input.all=2")));
    add_take("2", "1");
    add_take("0", "1");
    flush();
    EXPECT_EQ(sent(), "VIDEO MONITORING OUTPUT ROUTING:\n0 1\n\n");
    router_says("ACK\n\nVIDEO MONITORING OUTPUT ROUTING:\n0 1\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=1"));
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
    driver_says("router set",
                {{"output.2.name", "Desk"}, {"output.0.name", "Air"}, {"output.2.lock", "own"}});
    EXPECT_EQ(sent(), "OUTPUT LABELS:\n0 Air\n\nMONITORING OUTPUT LABELS:\n0 Desk\n\n"
                      "MONITORING OUTPUT LOCKS:\n0 O\n\n");
}

class VideohubSerialPorts : public VideohubConversation {
protected:
    // Inputs 5 and 6, and outputs 3 and 4, of people are the serial ports.
    void SetUp() override {
        conversation.with_serial_ports = true;
        VideohubConversation::SetUp();
        router_says(preamble_text +
                    "VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n"
                    "Serial ports: 2\n\nVIDEO OUTPUT ROUTING:\n0 3\n1 0\n\n"
                    "SERIAL PORT LABELS:\n0 Deck\n1 Desk\n\nSERIAL PORT ROUTING:\n0 -1\n1 0\n\n" +
                    end_text);
    }
};

TEST_F(VideohubSerialPorts, AreShownAsInputsAndOutputs) {
    const std::vector<std::string> reports = told();
    EXPECT_THAT(reports, Contains(AllOf(HasSubstr("info"), HasSubstr("inputs=6"), HasSubstr("outputs=4"))));
    EXPECT_THAT(reports, Contains(AllOf(HasSubstr("o2.input.all=none"), HasSubstr("o3.input.all=4"),
                                        HasSubstr("o2.name=Deck"))));
    EXPECT_THAT(reports, Contains(HasSubstr("i5.name=Desk")));
}

TEST_F(VideohubSerialPorts, AreTakenInBlocksOfTheirOwn) {
    forget();
    add_take("2", "5");
    add_take("0", "1");
    add_take("3", "none");
    flush();
    EXPECT_EQ(sent(), "SERIAL PORT ROUTING:\n0 1\n1 -1\n\n");
    router_says("ACK\n\nSERIAL PORT ROUTING:\n0 1\n1 -1\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=5 o3.input.all=none"));
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubSerialPorts, AndPicturesAreNoSourcesOfEachOther) {
    forget();
    take("2", "3");
    take("0", "4");
    EXPECT_EQ(sent(), "");
    const std::vector<std::string> reports = told();
    EXPECT_THAT(reports, Contains(HasSubstr("a serial port takes its data from another serial port only")));
    EXPECT_THAT(reports, Contains(HasSubstr("a serial port is no source of a picture")));
}

TEST_F(VideohubSerialPorts, HaveNamesAndLocks) {
    forget();
    driver_says("router set",
                {{"input.4.name", "Deck 2"}, {"input.3.name", "Cam"}, {"output.3.lock", "own"}});
    EXPECT_EQ(sent(), "INPUT LABELS:\n3 Cam\n\nSERIAL PORT LABELS:\n0 Deck 2\n\n"
                      "SERIAL PORT LOCKS:\n1 O\n\n");
}

TEST_F(VideohubConversation, SalvoInOneMessageIsOneBlock) {
    become_ready();
    driver_says("route outputs", {{"expires", "1000500"}, {"take.0000", "2 0"}, {"take.0001", "0 1"}});
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n2 0\n\n");
}

TEST_F(VideohubConversation, SalvoThatWaitsBeyondItsTimeIsRefused) {
    become_ready();
    take("0", "0");
    sent();
    driver_says("route outputs", {{"expires", "1000500"}, {"take.0000", "2 0"}});
    wait(500 * ms);
    EXPECT_THAT(
        told(),
        ElementsAre("refused from input=0 text=came too late: the router has not answered the one before "
                    "to output=2",
                    "outputs o2.input.all=1"));
    router_says("ACK\n\n");
    EXPECT_EQ(sent(), "");
    driver_says("route outputs", {{"expires", "1000500"}, {"take.0000", "2 0"}});
    EXPECT_THAT(told(), ElementsAre("refused from input=0 text=came too late to output=2"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, LockedOutputIsNotTakenButToldAndTheRestIs) {
    become_ready();
    add_take("0", "2");
    add_take("1", "2");
    add_take("2", "2"); // locked too, but by ourselves
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n2 2\n\n");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>take to output 2 refused: locked by another client of the router"));
    EXPECT_THAT(told(),
                ElementsAre("refused from input=2 text=locked by another client of the router to output=1",
                            "outputs o1.input.all=0"));
    router_says("VIDEO OUTPUT LOCKS:\n1 U\n\n");
    router_says("ACK\n\n");
    take("1", "2");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n1 2\n\n");
}

TEST_F(VideohubConversation, NoSourceIsUnknownToTheRouter) {
    become_ready();
    take("0", "none");
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(told(), ElementsAre(HasSubstr("refused from input=none"), "outputs o0.input.all=3"));
}

TEST_F(VideohubConversation, NonsenseIsSkippedWithAWarning) {
    become_ready();
    add_take("x", "1");
    add_take("-1", "1");
    add_take("2000000000", "1");
    add_take("0", "");
    add_take("0", "-2");
    driver_says("route output", {});
    EXPECT_EQ(conversation.driver.log.size(), 6U);
    driver_says("route output",
                {{"queue", "add"}, {"to output", "0"}, {"from input", "1"}, {"control", "audio"}});
    add_take("3", "0");
    add_take("1", "4");
    flush();
    EXPECT_EQ(conversation.driver.log.size(), 9U);
    EXPECT_THAT(conversation.driver.log, Contains("<WARN>take to output 4 refused: there is no output 4"));
    EXPECT_THAT(conversation.driver.log, Contains("<WARN>take to output 2 refused: there is no input 5"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, LongNonsenseDoesNotFillTheLog) {
    become_ready();
    const std::string nonsense(10000, 'x');
    const std::string shown = "'" + std::string(60, 'x') + "' skipped";
    add_take(nonsense, "1");
    add_take("0", nonsense);
    driver_says("route output", {{"queue", nonsense}});
    driver_says("report", {{"what", nonsense}});
    driver_says(nonsense, {});
    EXPECT_THAT(conversation.driver.log, ElementsAre("<WARN>take to the unreadable output " + shown,
                                                     "<WARN>take from the unreadable input " + shown,
                                                     "<WARN>route output with the unknown queue " + shown,
                                                     "<WARN>report of the unknown " + shown,
                                                     "<WARN>unknown message '" + std::string(60, 'x') +
                                                         "' of type 'command' skipped"));
}

TEST_F(VideohubConversation, OneBlockOfTakesIsUnderWayAndWhatWaitsIsMerged) {
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

TEST_F(VideohubConversation, SupersededTakeIsNeitherRepeatedNorShown) {
    become_ready();
    take("0", "0");
    take("0", "2");
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 0\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
}

TEST_F(VideohubConversation, WaitingTakeIsGivenUpWhenTheDriverHasGivenItUp) {
    become_ready();
    take("0", "0");
    sent();
    wait(500 * ms);
    take("2", "3");
    wait(1 * second);
    EXPECT_THAT(
        conversation.driver.log,
        Contains(
            "<WARN>take to output 3 refused: came too late: the router has not answered the one before"));
    EXPECT_THAT(told(), ElementsAre(HasSubstr("refused"), "outputs o2.input.all=1"));
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 0\n\n");
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, ConfirmedBlockHoldsUpNothingThoughItIsNotAnswered) {
    become_ready();
    take("0", "0");
    sent();
    router_says("VIDEO OUTPUT ROUTING:\n0 0\n\n");
    take("0", "1");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubConversation, InterimSourceOfAnotherControllerDoesNotEndTheWait) {
    become_ready();
    take("0", "2");
    router_says("VIDEO OUTPUT ROUTING:\n0 1\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
}

TEST_F(VideohubConversation, SourceOfAnotherControllerThatStaysIsShownAtTheDeadline) {
    become_ready();
    take("0", "2");
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 1\n\n");
    wait(1 * second);
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=1"));
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>the router shows another source than was taken to output 1"));
}

// The driver would take the old source for the confirmation.
TEST_F(VideohubConversation, ReportKeepsQuietAboutOpenTakes) {
    become_ready();
    take("0", "2");
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), ElementsAre(AllOf(HasSubstr("o0.name=Studio"), HasSubstr("o1.input.all=0"),
                                          Not(HasSubstr("o0.input")))));
}

TEST_F(VideohubConversation, UnansweredTakeBreaksTheConnection) {
    become_ready();
    take("0", "2");
    wait(1 * second);
    EXPECT_EQ(next_conversation_time(conversation, now), now + 9 * second);
    wait(8 * second);
    EXPECT_EQ(conversation.router.failure, "");
    wait(1 * second);
    EXPECT_EQ(conversation.router.failure, "it does not answer");
}

TEST_F(VideohubConversation, UnansweredTakeBreaksTheConnectionOfARouterThatTalksOn) {
    become_ready();
    take("0", "2");
    for (int n = 0; n < 10; ++n) {
        EXPECT_EQ(conversation.router.failure, "");
        wait(1 * second);
        router_says("OUTPUT LABELS:\n2 Live\n\n");
    }
    EXPECT_EQ(conversation.router.failure, "it does not answer");
}

TEST_F(VideohubConversation, TakeThatIsNotWaitedForAnyMoreIsStillToBeAnswered) {
    become_ready();
    take("0", "2");
    sent();
    wait(2 * second);
    router_says("OUTPUT LABELS:\n2 Live\n\n");
    take("2", "3");
    EXPECT_EQ(sent(), "");
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.driver.log, Contains("<WARN>the router said NAK to an older take to output 1"));
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n2 3\n\n");
}

TEST_F(VideohubConversation, HalfConfirmedBlockIsTriedAgainForTheOtherHalf) {
    become_ready();
    add_take("0", "2");
    add_take("2", "2");
    flush();
    router_says("VIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
    router_says("NAK\n\n");
    EXPECT_THAT(told(), ElementsAre(HasSubstr("to output=2"), "outputs o2.input.all=1"));
}

TEST_F(VideohubConversation, AnswersBelongToTheirBlocksInOrder) {
    become_ready();
    wait(15 * second); // a PING
    driver_says("router set", {{"output.0.name", "A"}});
    take("0", "2");
    router_says("ACK\n\nNAK\n\n");
    EXPECT_THAT(conversation.driver.log, ElementsAre("<WARN>the router refused the names or locks"));
    told();
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.driver.log, Contains("<WARN>take to output 1 refused: the router said NAK"));
    router_says("NAK\n\nACK\n\n"); // answers that nobody waits for
    EXPECT_EQ(conversation.driver.log.size(), 2U);
}

TEST_F(VideohubConversation, NakIsNeverTheAnswerToAPing) {
    become_ready();
    wait(15 * second); // a PING
    take("0", "2");
    router_says("NAK\n\n");
    EXPECT_THAT(told(), ElementsAre(HasSubstr("refused"), "outputs o0.input.all=3"));
}

TEST_F(VideohubConversation, PingThatIsNeverAnsweredTakesNoLaterAnswer) {
    become_ready();
    wait(15 * second); // a PING, and nobody answers
    wait(2 * second);
    take("0", "3"); // the source it has: nothing but the answer confirms it
    router_says("ACK\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
    wait(13 * second); // another one
    take("0", "3");
    router_says("ACK\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
}

TEST_F(VideohubConversation, AnswerThatAPingTookDoesNotBreakTheConnection) {
    become_ready();
    wait(15 * second); // a PING
    take("0", "2");
    router_says("ACK\n\n"); // to which of the two?
    for (int n = 0; n < 12; ++n) {
        wait(1 * second);
        router_says("OUTPUT LABELS:\n2 Live\n\n");
        EXPECT_EQ(conversation.router.failure, "");
    }
}

TEST_F(VideohubConversation, TakesAreRefusedWhileReadingAndNotKept) {
    router_says(preamble_text);
    take("0", "2");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>take to output 1 refused: the router's state is still being read"));
    router_says(whole_state_text);
    wait(1 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, TakesAreRefusedWhileOfflineAndNotKept) {
    close_conversation(conversation);
    take("0", "2");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>take to output 1 refused: not connected to the router"));
    open_conversation(conversation, now);
    router_says(whole_state_text);
    wait(1 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, TakesOnTheirWayDieWithTheConnection) {
    become_ready();
    take("0", "2");
    take("2", "2");
    close_conversation(conversation);
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>take to output 3 refused: the connection to the router is lost",
                            "<WARN>take to output 1 given up: the connection to the router is lost"));
    EXPECT_THAT(told(), ElementsAre(HasSubstr("to output=2"))) << "what was sent may have been done";
    EXPECT_EQ(sent(), "");
    open_conversation(conversation, now);
    router_says(whole_state_text);
    wait(2 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, AnotherDeviceEndsTheTakesOfTheOldOne) {
    become_ready();
    take("2", "2");
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 1\nVideo outputs: 1\n\nNAK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_THAT(conversation.driver.log, Contains(HasSubstr("take to output 3 given up")));
}

TEST_F(VideohubConversation, AnotherDeviceDoesNotWaitForTheAnswerOfTheOldOne) {
    become_ready();
    take("2", "2");
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n\n" +
                whole_state_text);
    ASSERT_EQ(conversation.driver.state, router_state::ready);
    sent();
    take("0", "1");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubConversation, NamesAreSentAsLabelsAndShownOnceTheRouterShowsThem) {
    become_ready();
    driver_says("router set", {{"output.2.name", "On air\nVIDEO"}, {"input.0.name", "Cam 1"}});
    EXPECT_EQ(sent(), "INPUT LABELS:\n0 Cam 1\n\nOUTPUT LABELS:\n2 On air VIDEO\n\n");
    router_says("ACK\n\nACK\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says("OUTPUT LABELS:\n2 On air VIDEO\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o2.name=On air VIDEO"));
}

TEST_F(VideohubConversation, NameThatTheRouterRefusesIsShownAsItWas) {
    become_ready();
    driver_says("router set", {{"output.2.name", "Live"}, {"input.0.name", "Cam"}});
    router_says("NAK\n\nNAK\n\n");
    EXPECT_THAT(told(), ElementsAre("inputs i0.name=Camera 1", "outputs o2.name=Air"));
}

TEST_F(VideohubConversation, LocksAreSetAndFreedAndShownOnceTheRouterShowsThem) {
    become_ready();
    driver_says("router set",
                {{"output.0.lock", "own"}, {"output.1.lock", "force"}, {"output.2.lock", "free"}});
    EXPECT_EQ(sent(), "VIDEO OUTPUT LOCKS:\n0 O\n1 F\n2 U\n\n");
    router_says("ACK\n\nVIDEO OUTPUT LOCKS:\n0 O\n1 U\n2 U\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.lock=own o1.lock=free o2.lock=free"));
    driver_says("router set", {{"output.0.lock", "free"}});
    router_says("NAK\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.lock=own"));
}

TEST_F(VideohubConversation, UnknownPropertiesAreSkippedWithAWarning) {
    become_ready();
    driver_says("router set", {{"output.3.name", "x"},
                               {"output.0.colour", "red"},
                               {"output.0.lock", "perhaps"},
                               {"input.0.lock", "own"},
                               {"input.x.name", "x"}});
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>router set of the unknown 'input.x.name' skipped",
                            "<WARN>property not set: there is no output 4",
                            "<WARN>3 properties skipped that this router does not have"));
}

TEST_F(VideohubConversation, NamesAreRefusedWhileThereIsNoRouter) {
    driver_says("router set", {{"output.0.name", "x"}});
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>names refused: the router's state is still being read"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, NamesThatTheRouterCannotTakeInAreRefused) {
    become_ready();
    driver_says("router set", {{"output.0.name", std::string(100000, 'x')}});
    for (int n = 0; n < 5; ++n) {
        driver_says("router set", {{"output.0.name", "x"}});
    }
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>names refused: they are too long",
                            "<WARN>names refused: the router has not answered the ones before"));
}
