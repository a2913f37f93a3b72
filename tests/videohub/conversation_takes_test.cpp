// What becomes of takes.
#include "conversation_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    EXPECT_THAT(conversation.log, IsEmpty());
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
    EXPECT_THAT(conversation.log, IsEmpty());
    wait(1 * ms);
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>the router has not confirmed the take to output 1"));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(VideohubConversation, LateConfirmationIsReportedAllTheSame) {
    become_ready();
    take("0", "2");
    wait(5 * second);
    router_says("ACK\n\nVIDEO OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=2"));
    EXPECT_EQ(conversation.failure, "");
}

TEST_F(VideohubConversation, RefusedTakeIsToldWithTheSourcesThatWereKept) {
    become_ready();
    add_take("0", "2");
    add_take("2", "2");
    flush();
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>the router refused the take to outputs 1, 3"));
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3 o2.input.all=1"));
}

TEST_F(VideohubConversation, LockedOutputIsNotTakenButToldAndTheRestIs) {
    become_ready();
    add_take("0", "2");
    add_take("1", "2");
    add_take("2", "2"); // locked too, but by ourselves
    flush();
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n2 2\n\n");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>output 2 is locked by another client of the router"));
    EXPECT_THAT(told(), ElementsAre("outputs o1.input.all=0"));
    router_says("VIDEO OUTPUT LOCKS:\n1 U\n\n");
    router_says("ACK\n\n");
    take("1", "2");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n1 2\n\n");
}

TEST_F(VideohubConversation, NoSourceIsUnknownToTheRouter) {
    become_ready();
    take("0", "none");
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=3"));
    EXPECT_THAT(conversation.log, ElementsAre(HasSubstr("output 1 keeps its source")));
}

TEST_F(VideohubConversation, NonsenseIsSkippedWithAWarning) {
    become_ready();
    add_take("x", "1");
    add_take("-1", "1");
    add_take("2000000000", "1");
    add_take("0", "");
    add_take("0", "-2");
    driver_says("route output",
                {{"queue", "add"}, {"to output", "0"}, {"from input", "1"}, {"control", "audio"}});
    driver_says("route output", {});
    EXPECT_EQ(conversation.log.size(), 7U);
    add_take("3", "0");
    add_take("1", "4");
    flush();
    EXPECT_EQ(conversation.log.size(), 9U);
    EXPECT_THAT(conversation.log, Contains("<WARN>take skipped: there is no output 4"));
    EXPECT_THAT(conversation.log, Contains("<WARN>take to output 2 skipped: there is no input 5"));
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
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>take to the unreadable output " + shown,
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
    EXPECT_THAT(conversation.log,
                Contains("<WARN>take to output 3 given up: the router has not answered the one before"));
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=1"));
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
    EXPECT_THAT(conversation.log,
                ElementsAre("<WARN>the router shows another source than was taken to output 1"));
}

// The driver would take the old source for the confirmation.
TEST_F(VideohubConversation, ReportKeepsQuietAboutOpenTakes) {
    become_ready();
    take("0", "2");
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), ElementsAre("outputs o0.name=Studio o1.input.all=0 o1.name=Monitor A o2.input.all=1 "
                                    "o2.name=Air"));
}

TEST_F(VideohubConversation, UnansweredTakeBreaksTheConnection) {
    become_ready();
    take("0", "2");
    wait(1 * second);
    EXPECT_EQ(next_conversation_time(conversation, now), now + 9 * second);
    wait(8 * second);
    EXPECT_EQ(conversation.failure, "");
    wait(1 * second);
    EXPECT_EQ(conversation.failure, "it does not answer");
}

TEST_F(VideohubConversation, UnansweredTakeBreaksTheConnectionOfARouterThatTalksOn) {
    become_ready();
    take("0", "2");
    for (int n = 0; n < 10; ++n) {
        EXPECT_EQ(conversation.failure, "");
        wait(1 * second);
        router_says("OUTPUT LABELS:\n2 Live\n\n");
    }
    EXPECT_EQ(conversation.failure, "it does not answer");
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
    EXPECT_THAT(conversation.log, Contains("<WARN>the router refused the take to output 1"));
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n2 3\n\n");
}

TEST_F(VideohubConversation, HalfConfirmedBlockIsRefusedForTheOtherHalf) {
    become_ready();
    add_take("0", "2");
    add_take("2", "2");
    flush();
    router_says("VIDEO OUTPUT ROUTING:\n0 2\n\n");
    told();
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>the router refused the take to output 3"));
    EXPECT_THAT(told(), ElementsAre("outputs o2.input.all=1"));
}

TEST_F(VideohubConversation, AnswersBelongToTheirBlocksInOrder) {
    become_ready();
    wait(15 * second); // a PING
    driver_says("router set", {{"output.0.name", "A"}});
    take("0", "2");
    router_says("ACK\n\nNAK\n\n");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>the router refused the names"));
    told();
    router_says("NAK\n\n");
    EXPECT_THAT(conversation.log, Contains("<WARN>the router refused the take to output 1"));
    router_says("NAK\n\nACK\n\n"); // answers that nobody waits for
    EXPECT_EQ(conversation.log.size(), 2U);
}

TEST_F(VideohubConversation, TakesAreRefusedWhileReadingAndNotKept) {
    router_says(preamble_text);
    take("0", "2");
    EXPECT_THAT(conversation.log,
                ElementsAre("<WARN>take to output 1 refused: the router's state is still being read"));
    router_says(whole_state_text);
    wait(1 * second);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, TakesAreRefusedWhileOfflineAndNotKept) {
    close_conversation(conversation);
    take("0", "2");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>take to output 1 refused: not connected to the router"));
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
    EXPECT_THAT(conversation.log,
                ElementsAre("<WARN>take to outputs 1, 3 given up: the connection to the router is lost"));
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
    EXPECT_THAT(conversation.log, Contains(HasSubstr("take to output 3 given up")));
}

TEST_F(VideohubConversation, AnotherDeviceDoesNotWaitForTheAnswerOfTheOldOne) {
    become_ready();
    take("2", "2");
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n\n" +
                whole_state_text);
    ASSERT_EQ(conversation.state, conversation_state::ready);
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

TEST_F(VideohubConversation, UnknownPropertiesAreSkippedWithAWarning) {
    become_ready();
    driver_says("router set", {{"output.3.name", "x"},
                               {"output.0.colour", "red"},
                               {"input.x.name", "x"},
                               {"input.name", "x"},
                               {"output..name", "x"}});
    EXPECT_EQ(sent(), "");
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>5 properties skipped that this router does not have"));
}

TEST_F(VideohubConversation, NamesAreRefusedWhileThereIsNoRouter) {
    driver_says("router set", {{"output.0.name", "x"}});
    EXPECT_THAT(conversation.log, ElementsAre("<WARN>names refused: the router's state is still being read"));
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, NamesThatTheRouterCannotTakeInAreRefused) {
    become_ready();
    driver_says("router set", {{"output.0.name", std::string(100000, 'x')}});
    for (int n = 0; n < 5; ++n) {
        driver_says("router set", {{"output.0.name", "x"}});
    }
    EXPECT_THAT(conversation.log,
                ElementsAre("<WARN>names refused: they are too long",
                            "<WARN>names refused: the router has not answered the ones before"));
}
