#include "sierra_replies.h"
#include "sierra_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

reply only_reply(std::string_view content) {
    const std::vector<reply> parts = parse_replies(content);
    EXPECT_THAT(parts, SizeIs(1)) << content;
    return parts.empty() ? reply{} : parts.front();
}

std::vector<reply_kind> kinds_of(std::string_view content) {
    std::vector<reply_kind> kinds;
    for (const reply& part : parse_replies(content)) {
        kinds.push_back(part.kind);
    }
    return kinds;
}

void expect_unreadable(std::string_view content) {
    const reply part = only_reply(content);
    EXPECT_EQ(part.kind, reply_kind::unreadable) << content;
    EXPECT_EQ(part.text, content);
}

} // namespace

TEST(SierraReplies, LinkTestIsAnsweredWithOk) {
    EXPECT_THAT(kinds_of(" OK "), ElementsAre(reply_kind::ok));
    EXPECT_THAT(kinds_of("ok"), ElementsAre(reply_kind::ok));
    EXPECT_THAT(parse_replies(""), IsEmpty());
    EXPECT_THAT(parse_replies("   "), IsEmpty());
}

TEST(SierraReplies, ReadsTheCommandsThatExist) {
    const std::vector<reply> parts = parse_replies(" Ilsxuvy~ OK ");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ(parts[0].kind, reply_kind::letters);
    EXPECT_EQ(parts[0].text, "LSXUVY");
    EXPECT_EQ(parts[1].kind, reply_kind::ok);
}

TEST(SierraReplies, ReadsModelAndVersion) {
    const std::vector<reply> parts = parse_replies(" QAspen 64 HD~1.07 beta~ OK ");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ(parts[0].kind, reply_kind::model);
    EXPECT_EQ(parts[0].text, "Aspen 64 HD 1.07 beta");
}

TEST(SierraReplies, ReadsTheSize) {
    const std::vector<reply> parts = parse_replies(" L64,3,32,VIDEO~AudioL~AudioR~~ OK ");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ(parts[0].kind, reply_kind::size);
    EXPECT_EQ(parts[0].outputs, 64);
    EXPECT_EQ(parts[0].inputs, 32);
    EXPECT_THAT(parts[0].levels, ElementsAre("VIDEO", "AudioL", "AudioR"));
}

TEST(SierraReplies, SizeMayHaveOptionsEmptyNamesAndNoLastTilde) {
    EXPECT_THAT(only_reply("Lab140,1,032,SDI~").levels, ElementsAre("SDI"));
    EXPECT_EQ(only_reply("Lab140,1,032,SDI~").outputs, 140);
    EXPECT_EQ(only_reply("Lab140,1,032,SDI~").inputs, 32);
    EXPECT_THAT(only_reply("L8,3,8,~~A B~~").levels, ElementsAre("", "", "A B"));
}

TEST(SierraReplies, SizeBeyondTheDriversIsCutDown) {
    const reply size = only_reply("L99999,1,99999999999999999999,SDI~~");
    EXPECT_EQ(size.outputs, most_router_outputs);
    EXPECT_EQ(size.inputs, most_router_inputs);
}

TEST(SierraReplies, SizeThatCannotBeIsUnreadable) {
    for (const char* content :
         {"L", "L1", "L1,1", "L1,1,1", "L1,1,1,", "L1,1,1,SDI", "L0,1,1,SDI~~", "L1,0,1,~~", "L1,1,0,SDI~~",
          "L1,65,1,SDI~~", "L1,2,1,SDI~", "L-,1,1,SDI~~"}) {
        expect_unreadable(content);
    }
}

TEST(SierraReplies, ReadsACrosspoint) {
    const reply part = only_reply(" X5,17,3 ");
    EXPECT_EQ(part.kind, reply_kind::crosspoint);
    EXPECT_EQ(part.output, 5);
    EXPECT_THAT(part.sources, ElementsAre(17));
    EXPECT_EQ(part.level, 3);
}

TEST(SierraReplies, LetterCaseAndPaddingMeanNothing) {
    const reply part = only_reply("x005,0017,03");
    EXPECT_EQ(part.kind, reply_kind::crosspoint);
    EXPECT_EQ(part.output, 5);
    EXPECT_THAT(part.sources, ElementsAre(17));
    EXPECT_EQ(part.level, 3);
}

TEST(SierraReplies, DisconnectedIsNotUnknown) {
    EXPECT_THAT(only_reply("X2,-,1").sources, ElementsAre(source_disconnected));
    EXPECT_THAT(only_reply("X2,0,2").sources, ElementsAre(source_unknown));
    EXPECT_THAT(only_reply("X2,000,2").sources, ElementsAre(source_unknown));
}

TEST(SierraReplies, LevelZeroIsAll) {
    EXPECT_EQ(only_reply("X2,1,0").level, 0);
}

TEST(SierraReplies, ReadsAllLevelsOfAnOutput) {
    const reply part = only_reply("Y5,17");
    EXPECT_EQ(part.kind, reply_kind::all_levels);
    EXPECT_EQ(part.output, 5);
    EXPECT_THAT(part.sources, ElementsAre(17));
}

TEST(SierraReplies, ReadsOneSourceForEachLevel) {
    const reply part = only_reply("V5,17,-,0");
    EXPECT_EQ(part.kind, reply_kind::per_level);
    EXPECT_EQ(part.output, 5);
    EXPECT_THAT(part.sources, ElementsAre(17, source_disconnected, source_unknown));
}

TEST(SierraReplies, SeveralPartsMayStandInOneString) {
    EXPECT_THAT(
        kinds_of(" Y1,18 X8,34,1 V1,2,3 OK "),
        ElementsAre(reply_kind::all_levels, reply_kind::crosspoint, reply_kind::per_level, reply_kind::ok));
    EXPECT_THAT(kinds_of("Y1,18Y8,34X1,2,3"),
                ElementsAre(reply_kind::all_levels, reply_kind::all_levels, reply_kind::crosspoint));
}

TEST(SierraReplies, WhatFollowsAnErrorIsItsText) {
    const std::vector<reply> parts = parse_replies(" X1,2,3 ERROR text:no such source, OK? X5,6,7 ");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ(parts[1].kind, reply_kind::error);
    EXPECT_EQ(parts[1].text, "text:no such source, OK? X5,6,7");
}

TEST(SierraReplies, ReadsARestart) {
    const reply part = only_reply(" RESET Aspen 64~ ");
    EXPECT_EQ(part.kind, reply_kind::reset);
    EXPECT_EQ(only_reply("reset").kind, reply_kind::reset);
}

TEST(SierraReplies, MalformedRoutingIsUnreadable) {
    for (const char* content : {"X", "X1", "X1,2", "X1,2,3,4", "X1,,3", "X1,2,", "X,1,2", "X0,1,2", "X-,1,2",
                                "X1,2,-", "X1,2,3;", "X1,\xb2,3", "Y1", "Y1,2,3", "V1", "Y0,1", "V-,1"}) {
        expect_unreadable(content);
    }
}

TEST(SierraReplies, UnknownPartIsSkippedAndTheNextIsRead) {
    EXPECT_THAT(kinds_of(" Z1,0,2 X1,2,3 #! B G1~ OK "),
                ElementsAre(reply_kind::other, reply_kind::crosspoint, reply_kind::unreadable,
                            reply_kind::unreadable, reply_kind::other, reply_kind::ok));
}

TEST(SierraReplies, WordsThatMeanNothingHereCostNothing) {
    EXPECT_THAT(kinds_of("FULL ERROR"), ElementsAre(reply_kind::other));
    EXPECT_THAT(kinds_of("HOST0"), ElementsAre(reply_kind::other));
    EXPECT_THAT(kinds_of(" GKL2,x y;z~ X1,2,3 OK "),
                ElementsAre(reply_kind::other, reply_kind::crosspoint, reply_kind::ok));
}

TEST(SierraReplies, TextsOfGAreSkippedWhateverTheySay) {
    for (const char* const texts :
         {"GI1,Cam X1,2,3 OK~", "G1,Cam~2,X1,2,3~~", "GONAME1,a~I2,b~I3,c~~", "g~"}) {
        EXPECT_THAT(kinds_of(std::string(texts) + " Y1,2 OK "),
                    ElementsAre(reply_kind::other, reply_kind::all_levels, reply_kind::ok))
            << texts;
    }
    expect_unreadable("GI1,Cam");
    EXPECT_THAT(kinds_of("G1~X1,2,3"), ElementsAre(reply_kind::other, reply_kind::crosspoint));
}

TEST(SierraReplies, BlanksMayFollowCommas) {
    EXPECT_EQ(only_reply("V1, 12").sources, std::vector{12});
    const std::vector<reply> parts = parse_replies("x01, 12, 1 x02, 02, 1");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ(parts[0].output, 1);
    EXPECT_EQ(parts[0].sources, std::vector{12});
    EXPECT_EQ(parts[1].output, 2);
    EXPECT_EQ(parts[1].sources, std::vector{2});
    EXPECT_EQ(parts[1].level, 1);
}

TEST(SierraReplies, OptionsBeforeTheSizeAreSkipped) {
    for (const char* const options : {"O(1,2)S(3)", "OS", "P(#=#ML,2)", "P", ""}) {
        const reply size = only_reply(std::string("L") + options + "8,3,8,VIDEO~A1~A2~~");
        EXPECT_EQ(size.kind, reply_kind::size) << options;
        EXPECT_EQ(size.outputs, 8);
        EXPECT_THAT(size.levels, ElementsAre("VIDEO", "A1", "A2"));
    }
    expect_unreadable("LO(1,2");
}

TEST(SierraReplies, ReadsALock) {
    const reply lock = only_reply("B21,6741,1");
    EXPECT_EQ(lock.kind, reply_kind::lock);
    EXPECT_EQ(lock.output, 21);
    EXPECT_TRUE(lock.is_locked);
    EXPECT_FALSE(only_reply("B21,6741,0").is_locked);
}

TEST(SierraReplies, TooManyLevelsAreUnreadable) {
    std::string most = "V1";
    for (int level = 0; level < most_router_levels; ++level) {
        most += ",1";
    }
    EXPECT_EQ(only_reply(most).kind, reply_kind::per_level);
    expect_unreadable(most + ",1");
}

TEST(SierraReplies, NameEndsWithin1024CharactersOrIsUnreadable) {
    const std::string longest(1024, 'm');
    EXPECT_EQ(only_reply("Q" + longest + "~2~").text, longest + " 2");
    EXPECT_EQ(kinds_of("Q" + longest + "m~2~").front(), reply_kind::unreadable);
}

// Each part looks for an end that is not there: a megabyte would take half a minute, were each to look all
// the way.
TEST(SierraReplies, MegabyteOfPartsWithoutAnEndIsReadInTimeForTheNextTake) {
    std::string content;
    while (content.size() < 1000000)
        content += "I ";
    EXPECT_EQ(parse_replies(content).size(), content.size() / 2);
}

TEST(SierraReplies, HugeNumbersDoNotWrap) {
    EXPECT_EQ(only_reply("X99999999999999999999,1,1").output, std::numeric_limits<int>::max());
}

TEST(SierraRequests, AreWrittenAsTheRouterReadsThem) {
    EXPECT_EQ(take_request({{8, 2, 3}}), "**X8,3,2!!");
    EXPECT_EQ(take_request({{1, 0, 18}, {8, 0, source_disconnected}}), "**X1,18,0X8,-,0!!");
    EXPECT_EQ(output_request({1, 140}), "**O1O140!!");
}

TEST(SierraRequests, TakesComeBackAsTheyWereWritten) {
    const std::vector<reply> parts = parse_replies("X1024,4096,64X1,-,0");
    ASSERT_THAT(parts, SizeIs(2));
    const std::string text = take_request({{parts[0].output, parts[0].level, parts[0].sources[0]},
                                           {parts[1].output, parts[1].level, parts[1].sources[0]}});
    EXPECT_EQ(text, "**X1024,4096,64X1,-,0!!");
}
