// How a conversation begins, keeps up the connection, and what breaks it.
#include "conversation_fixture.h"

#include <limits>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(VideohubConversation, AnnouncesTheRouterOnceItsStateIsComplete) {
    router_says(preamble_text + device_text + labels_text + locks_text + routing_text);
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_FALSE(conversation.router.is_sound) << "its loss would be told again and again";
    router_says(end_text);
    EXPECT_TRUE(conversation.router.is_sound);
    EXPECT_THAT(told(), ElementsAre("info inputs=4 outputs=3 salvo=yes",
                                    "inputs i0.name=Camera 1 i1.name=Camera 2 i2.name= i3.name=VTR",
                                    "outputs o0.input.all=3 o0.lock=free o0.name=Studio o0.router friendly "
                                    "name=Rack 4 o0.router model=Smart Videohub o1.input.all=0 o1.lock=other "
                                    "o1.name=Monitor A o2.input.all=1 o2.lock=own o2.name=Air"));
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<INFO>Smart Videohub, 4 inputs, 3 outputs, protocol 2.7"));
}

TEST_F(VideohubConversation, OldRouterIsCompleteAfterAShortQuietTime) {
    router_says("PROTOCOL PREAMBLE:\nVersion: 2.3\n\n" + device_text + labels_text + routing_text);
    EXPECT_EQ(next_conversation_time(conversation, now), now + 300 * ms);
    wait(299 * ms);
    EXPECT_THAT(told(), IsEmpty());
    wait(1 * ms);
    EXPECT_EQ(told().size(), 3U);
}

TEST_F(VideohubConversation, OldRouterThatIsNeverQuietIsCompleteAfterFourSeconds) {
    router_says("PROTOCOL PREAMBLE:\nVersion: 2.3\n\n" + device_text + labels_text + routing_text);
    for (int n = 0; n < 20; ++n) {
        EXPECT_EQ(conversation.driver.state, router_state::reading);
        wait(200 * ms);
        router_says("VIDEO OUTPUT ROUTING:\n0 1\n\n");
    }
    EXPECT_EQ(conversation.driver.state, router_state::ready);
    EXPECT_EQ(sent(), "");
}

TEST_F(VideohubConversation, RouterThatIsNeverQuietIsAskedForWhatIsMissing) {
    router_says(preamble_text + device_text + routing_text);
    for (int n = 0; n < 20; ++n) {
        EXPECT_EQ(sent(), "");
        wait(200 * ms);
        router_says("VIDEO OUTPUT ROUTING:\n0 1\n\n");
    }
    EXPECT_THAT(sent(), HasSubstr("INPUT LABELS:\n\n"));
    for (int n = 0; n < 10; ++n) {
        EXPECT_EQ(conversation.driver.state, router_state::reading);
        wait(200 * ms);
        router_says("VIDEO OUTPUT ROUTING:\n0 1\n\n");
    }
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, EndOfTheLongestPreludeIsAMomentToWakeAt) {
    router_says("PROTOCOL PREAMBLE:\nVersion: 2.3\n\n" + device_text + labels_text + routing_text);
    now += 3900 * ms;
    hear_router(conversation, "VIDEO OUTPUT ROUTING:\n0 1\n\n", now);
    EXPECT_EQ(next_conversation_time(conversation, now), now + 100 * ms);
}

TEST_F(VideohubConversation, AsksOnceForWhatIsMissing) {
    router_says(preamble_text + device_text + routing_text);
    wait(2 * second);
    const std::string request = sent();
    EXPECT_THAT(request, HasSubstr("INPUT LABELS:\n\n"));
    EXPECT_THAT(request, HasSubstr("OUTPUT LABELS:\n\n"));
    wait(1 * second);
    EXPECT_EQ(sent(), "");
    router_says("ACK\n\nACK\n\nACK\n\nACK\n\n" + labels_text);
    wait(300 * ms);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, RouterWithoutLabelsIsUsedAllTheSame) {
    router_says(preamble_text + device_text + routing_text);
    wait(2 * second);
    router_says("NAK\n\nNAK\n\nNAK\n\nNAK\n\n");
    wait(2 * second);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, MissingSizeIsAskedFor) {
    router_says(preamble_text + "VIDEOHUB DEVICE:\nDevice present: true\n\n");
    wait(2 * second);
    EXPECT_EQ(sent(), "VIDEOHUB DEVICE:\n\n");
}

TEST_F(VideohubConversation, ReportsWhatIsAskedForOnlyWhenReady) {
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), IsEmpty());
    become_ready();
    driver_says("report", {{"what", "inputs"}});
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), ElementsAre(HasSubstr("inputs i0.name=Camera 1"), HasSubstr("o2.input.all=1")));
    driver_says("report", {{"what", "weather"}});
    EXPECT_THAT(conversation.driver.log, ElementsAre("<WARN>report of the unknown 'weather' skipped"));
}

TEST_F(VideohubConversation, ChangesMadeElsewhereAreReportedAtOnce) {
    become_ready();
    router_says("VIDEO OUTPUT ROUTING:\n1 2\n\n");
    router_says("OUTPUT LABELS:\n2 Live\n\nINPUT LABELS:\n0 Cam\n\n");
    EXPECT_THAT(told(), ElementsAre("outputs o1.input.all=2", "outputs o2.name=Live", "inputs i0.name=Cam"));
}

TEST_F(VideohubConversation, AnotherDeviceIsAnnouncedWhenItIsComplete) {
    become_ready();
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 2\nVideo outputs: 1\n\n");
    EXPECT_EQ(conversation.driver.state, router_state::reading);
    router_says("INPUT LABELS:\n0 a\n1 b\n\nOUTPUT LABELS:\n0 c\n\nVIDEO OUTPUT ROUTING:\n0 1\n\n");
    EXPECT_THAT(told(), IsEmpty());
    router_says(end_text);
    EXPECT_THAT(told(), ElementsAre("info inputs=2 outputs=1 salvo=yes", "inputs i0.name=a i1.name=b",
                                    "outputs o0.input.all=1 o0.name=c"));
}

TEST_F(VideohubConversation, MissingDeviceIsToldAndWaitedForForEver) {
    router_says(preamble_text + "VIDEOHUB DEVICE:\nDevice present: false\n\n");
    EXPECT_THAT(conversation.driver.log, ElementsAre(HasSubstr("no device is attached")));
    for (int n = 0; n < 10; ++n) {
        wait(15 * second);
        router_says("ACK\n\n");
    }
    EXPECT_EQ(conversation.router.failure, "");
    take("0", "1");
    EXPECT_THAT(conversation.driver.log,
                Contains("<WARN>take to output 1 refused: no device is attached to the Videohub server"));
    router_says(device_text + labels_text + routing_text + end_text);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, DeviceThatComesAndGoesWithoutEndDoesNotFillTheLog) {
    router_says(preamble_text);
    for (int n = 0; n < 100; ++n) {
        now += rare_line_period_us / 100;
        router_says("VIDEOHUB DEVICE:\nDevice present: false\n\n");
        router_says("VIDEOHUB DEVICE:\nDevice present: needs_update\n\n");
        router_says(device_text + labels_text + routing_text + end_text);
        ASSERT_EQ(conversation.driver.state, router_state::ready);
    }
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>the Videohub server answers, but no device is attached to it",
                            "<WARN>the Videohub device needs an update of its firmware",
                            StartsWith("<INFO>Smart Videohub, 4 inputs, 3 outputs")));
    conversation.driver.log.clear();
    now += rare_line_period_us / 100;
    router_says("VIDEOHUB DEVICE:\nDevice present: false\n\n");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>the Videohub server answers, but no device is attached to it "
                            "(99 more such lines were left out)"));
}

TEST_F(VideohubConversation, DeviceThatIsAttachedLateHasTimeToTellItsState) {
    router_says(preamble_text + "VIDEOHUB DEVICE:\nDevice present: false\n\n");
    for (int n = 0; n < 4; ++n) {
        wait(15 * second);
        router_says("ACK\n\n");
    }
    sent();
    router_says(device_text);
    EXPECT_EQ(conversation.router.failure, "");
    EXPECT_EQ(sent(), "");
    wait(1 * second);
    router_says(labels_text + routing_text + end_text);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, DeviceThatNeedsAnUpdateIsTold) {
    router_says(preamble_text + "VIDEOHUB DEVICE:\nDevice present: needs_update\n\n");
    take("0", "1");
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>the Videohub device needs an update of its firmware",
                            "<WARN>take to output 1 refused: the device needs an update of its firmware"));
}

TEST_F(VideohubConversation, AnotherMajorVersionIsNotSpoken) {
    router_says("PROTOCOL PREAMBLE:\nVersion: 3.0\n\n" + device_text);
    EXPECT_EQ(conversation.router.failure, "it speaks version 3.0 of the protocol, not 2.x");
    EXPECT_FALSE(conversation.router.is_sound);
}

TEST_F(VideohubConversation, WhatDoesNotGreetIsGivenUp) {
    wait(9 * second);
    router_says("login: \n\n");
    EXPECT_EQ(conversation.router.failure, "");
    wait(1 * second);
    EXPECT_EQ(conversation.router.failure, "it does not speak the Videohub protocol");
}

TEST_F(VideohubConversation, RouterThatDoesNotTellItsSizeIsGivenUp) {
    router_says(preamble_text + "VIDEOHUB DEVICE:\nDevice present: true\n\n");
    for (int n = 0; n < 30; ++n) {
        EXPECT_EQ(conversation.router.failure, "");
        wait(1 * second);
        router_says("ACK\n\n");
    }
    EXPECT_EQ(conversation.router.failure, "it does not tell its size");
}

TEST_F(VideohubConversation, OutputsLeftOutOfTheRoutingAreUnknown) {
    router_says(preamble_text + device_text + labels_text + "VIDEO OUTPUT ROUTING:\n1 2\n\n" + end_text);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
    const auto reports = told();
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_THAT(reports[2], AllOf(HasSubstr("o0.input.all=unknown"), HasSubstr("o1.input.all=2"),
                                  HasSubstr("o2.input.all=unknown")));
    take("0", "1");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 1\n\n");
}

TEST_F(VideohubConversation, RoutingThatIsNeverToldIsDoneWithout) {
    router_says(preamble_text + device_text + labels_text);
    wait(2 * second);
    EXPECT_EQ(conversation.driver.state, router_state::reading);
    router_says("ACK\n\nACK\n\nACK\n\nNAK\n\n");
    wait(2 * second);
    EXPECT_EQ(conversation.driver.state, router_state::ready);
}

TEST_F(VideohubConversation, DeviceDescribedOnceMoreIsTheSameDevice) {
    become_ready();
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nFriendly name: Rack 5\nUnique ID: 0123456789AB\n"
                "Video inputs: 4\nVideo outputs: 3\n\n");
    EXPECT_EQ(conversation.driver.state, router_state::ready);
    EXPECT_THAT(told(), ElementsAre(HasSubstr("o0.router friendly name=Rack 5")));
    take("0", "2");
    EXPECT_EQ(sent(), "VIDEO OUTPUT ROUTING:\n0 2\n\n");
    router_says("VIDEOHUB DEVICE:\nDevice present: true\nUnique ID: 77\nVideo inputs: 4\n"
                "Video outputs: 3\n\n");
    EXPECT_EQ(conversation.driver.state, router_state::reading);
}

TEST_F(VideohubConversation, StatusTakeModeAndAlarmsAreProperties) {
    become_ready();
    router_says("VIDEO INPUT STATUS:\n1 BNC\n\nVIDEO OUTPUT STATUS:\n2 Fibre\n\n"
                "CONFIGURATION:\nTake Mode: true\n\nALARM STATUS:\nFan: ok\nA=B: x\n\n");
    EXPECT_THAT(told(), ElementsAre("inputs i1.status=BNC", "outputs o2.status=Fibre",
                                    HasSubstr("o0.take mode=true"), HasSubstr("o0.alarm Fan=ok ")));
}

TEST_F(VideohubConversation, PingsEvery15SecondsAndGivesUpAfter30SecondsOfSilence) {
    become_ready();
    EXPECT_EQ(next_conversation_time(conversation, now), now + 15 * second);
    wait(15 * second);
    EXPECT_EQ(sent(), "PING:\n\n");
    router_says("ACK\n\n");
    wait(15 * second);
    EXPECT_EQ(sent(), "PING:\n\n");
    wait(14 * second);
    EXPECT_EQ(conversation.router.failure, "");
    wait(1 * second);
    EXPECT_EQ(conversation.router.failure, "it is silent");
}

TEST_F(VideohubConversation, EndlessBlockIsAFailure) {
    router_says(preamble_text + "INPUT LABELS:\n");
    const std::string piece(64 * 1024, 'x');
    for (int n = 0; n < 17; ++n) {
        router_says(piece);
    }
    EXPECT_EQ(conversation.router.failure, "it sends a block of more than 1 MiB");
}

TEST_F(VideohubConversation, ReconnectForgetsAllThatWasKnown) {
    become_ready();
    close_conversation(conversation);
    EXPECT_EQ(next_conversation_time(conversation, now), std::numeric_limits<std::uint64_t>::max());
    driver_says("report", {{"what", "outputs"}});
    open_conversation(conversation, now);
    driver_says("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(conversation.model.outputs.size(), 0U);
    router_says(whole_state_text);
    EXPECT_EQ(told().size(), 3U);
}

TEST_F(VideohubConversation, HalfABlockOfTheOldConnectionIsNotContinued) {
    router_says(whole_state_text + "VIDEO OUTPUT ROUTING:\n0 ");
    close_conversation(conversation);
    open_conversation(conversation, now);
    router_says(whole_state_text);
    EXPECT_EQ(conversation.model.outputs[0].source, 3);
}

TEST_F(VideohubConversation, WholeStateCutAtEveryByteIsReadTheSame) {
    for (std::size_t cut = 0; cut <= whole_state_text.size(); ++cut) {
        open_conversation(conversation, now);
        router_says(whole_state_text.substr(0, cut));
        router_says(whole_state_text.substr(cut));
        ASSERT_EQ(told().size(), 3U) << "cut at byte " << cut;
    }
}

TEST_F(VideohubConversation, UnknownMessagesAreSkipped) {
    become_ready();
    driver_says("make coffee", {});
    handle_driver_message(conversation, {"report", "", "message", "", {{"what", "outputs"}}}, now);
    EXPECT_THAT(conversation.driver.log,
                ElementsAre("<WARN>unknown message 'make coffee' of type 'command' skipped",
                            "<WARN>unknown message 'report' of type 'message' skipped"));
    EXPECT_THAT(told(), IsEmpty());
}
