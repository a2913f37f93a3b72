#include "videohub_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using entries = std::vector<std::pair<int, std::string>>;
using properties = std::vector<std::pair<std::string, std::string>>;

bool operator==(const videohub_block& one, const videohub_block& other) {
    return one.header == other.header && one.lines == other.lines;
}

namespace {

entries entries_of(const std::string& text) {
    entries found;
    for_each_videohub_entry(blocks_of(text).at(0),
                            [&](int number, std::string_view entry) { found.emplace_back(number, entry); });
    return found;
}

properties properties_of(const std::string& text) {
    properties found;
    for_each_videohub_property(blocks_of(text).at(0), [&](std::string_view name, std::string_view value) {
        found.emplace_back(name, value);
    });
    return found;
}

} // namespace

TEST(VideohubBlocks, HeaderLinesAndAnEmptyLineMakeABlock) {
    const auto blocks = blocks_of("VIDEO OUTPUT ROUTING:\n7 2\n8 3\n\n");
    EXPECT_THAT(blocks, ElementsAre(videohub_block{"VIDEO OUTPUT ROUTING", "7 2\n8 3\n"}));
}

TEST(VideohubBlocks, WithoutTheEmptyLineThereIsNoBlockYet) {
    EXPECT_THAT(blocks_of("VIDEO OUTPUT ROUTING:\n7 2\n"), IsEmpty());
    EXPECT_THAT(blocks_of("VIDEO OUTPUT ROUTING:\n7 2\n\r"), IsEmpty());
}

TEST(VideohubBlocks, CarriageReturnsAndLeadingBlanksAreDropped) {
    const auto blocks = blocks_of("  INPUT LABELS: \r\n\t 0 Camera 1 \r\n   \r\n");
    EXPECT_THAT(blocks, ElementsAre(videohub_block{"INPUT LABELS", "0 Camera 1 \n"}));
}

TEST(VideohubBlocks, AnswersAreBlocks) {
    EXPECT_THAT(blocks_of("ACK\n\nNAK\r\n\r\n"),
                ElementsAre(videohub_block{"ACK", ""}, videohub_block{"NAK", ""}));
}

TEST(VideohubBlocks, AnswerWithoutItsEmptyLineSwallowsNothing) {
    EXPECT_THAT(blocks_of("ACK\nVIDEO OUTPUT ROUTING:\n7 2\n\n"),
                ElementsAre(videohub_block{"ACK", ""}, videohub_block{"VIDEO OUTPUT ROUTING", "7 2\n"}));
}

TEST(VideohubBlocks, FurtherEmptyLinesMeanNothing) {
    EXPECT_THAT(blocks_of("\n\n\nEND PRELUDE:\n\n\n\n"), ElementsAre(videohub_block{"END PRELUDE", ""}));
}

TEST(VideohubBlocks, UnknownTextIsABlockThatEndsLikeAnyOther) {
    const auto blocks = blocks_of("hello there\nmore\n\nACK\n\n");
    EXPECT_THAT(blocks, ElementsAre(videohub_block{"hello there", "more\n"}, videohub_block{"ACK", ""}));
}

TEST(VideohubBlocks, CutAtEveryByteTheyAreTheSame) {
    const std::string text = whole_state_text + "ACK\r\n\r\n" + routing_text + "NAK\n\n";
    const auto whole = blocks_of(text);
    ASSERT_EQ(whole.size(), 10U);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        videohub_reader reader;
        std::vector<videohub_block> blocks;
        ASSERT_TRUE(read_videohub_bytes(reader, std::string_view(text).substr(0, cut), blocks));
        ASSERT_TRUE(read_videohub_bytes(reader, std::string_view(text).substr(cut), blocks));
        ASSERT_TRUE(blocks == whole) << "cut at byte " << cut;
    }
}

TEST(VideohubBlocks, ByteByByteTheyAreTheSame) {
    videohub_reader reader;
    std::vector<videohub_block> blocks;
    for (const char byte : whole_state_text) {
        ASSERT_TRUE(read_videohub_bytes(reader, {&byte, 1}, blocks));
    }
    EXPECT_TRUE(blocks == blocks_of(whole_state_text));
}

TEST(VideohubBlocks, LineBeyondTheLimitIsAnErrorAndMemoryStaysBounded) {
    videohub_reader reader;
    std::vector<videohub_block> blocks;
    const std::string piece(64 * 1024, 'x');
    int accepted = 0;
    while (accepted < 100 && read_videohub_bytes(reader, piece, blocks)) {
        ++accepted;
    }
    EXPECT_EQ(accepted, 16);
    EXPECT_LE(reader.line.capacity(), 2 * most_videohub_block_bytes);
}

TEST(VideohubBlocks, BlockBeyondTheLimitIsAnErrorAndMemoryStaysBounded) {
    videohub_reader reader;
    std::vector<videohub_block> blocks;
    ASSERT_TRUE(read_videohub_bytes(reader, "SOME BLOCK:\n", blocks));
    const std::string line = std::string(1023, 'x') + "\n";
    int accepted = 0;
    while (accepted < 3000 && read_videohub_bytes(reader, line, blocks)) {
        ++accepted;
    }
    EXPECT_EQ(accepted, 1024);
    EXPECT_LE(reader.block.lines.capacity(), 2 * most_videohub_block_bytes);
}

TEST(VideohubBlocks, TextSaysATakeASalvoARenameAnUnlockAndAKeepAlive) {
    EXPECT_EQ(videohub_block_text("VIDEO OUTPUT ROUTING", {{7, "2"}}), "VIDEO OUTPUT ROUTING:\n7 2\n\n");
    EXPECT_EQ(videohub_block_text("VIDEO OUTPUT ROUTING", {{1, "4"}, {0, "4"}}),
              "VIDEO OUTPUT ROUTING:\n0 4\n1 4\n\n");
    EXPECT_EQ(videohub_block_text("OUTPUT LABELS", {{6, "new label"}}), "OUTPUT LABELS:\n6 new label\n\n");
    EXPECT_EQ(videohub_block_text("VIDEO OUTPUT LOCKS", {{7, "F"}}), "VIDEO OUTPUT LOCKS:\n7 F\n\n");
    EXPECT_EQ(videohub_block_text("PING", {}), "PING:\n\n");
}

TEST(VideohubBlocks, LabelCannotBreakOutOfItsLine) {
    EXPECT_EQ(videohub_block_text("INPUT LABELS", {{0, "a\r\n\nVIDEO OUTPUT ROUTING:\n0 1"}}),
              "INPUT LABELS:\n0 a   VIDEO OUTPUT ROUTING: 0 1\n\n");
}

TEST(VideohubBlocks, WhatIsWrittenIsReadTheSame) {
    const std::map<int, std::string> labels = {{0, ""}, {1, " two  blanks "}, {287, "Überwachung"}};
    entries expected(labels.begin(), labels.end());
    EXPECT_EQ(entries_of(videohub_block_text("INPUT LABELS", labels)), expected);
}

// Every kind of block that has lines with a number.
TEST(VideohubBlocks, EntriesOfEveryKind) {
    for (const std::string header :
         {"INPUT LABELS", "OUTPUT LABELS", "MONITORING OUTPUT LABELS", "SERIAL PORT LABELS", "FRAME LABELS",
          "VIDEO OUTPUT ROUTING", "VIDEO MONITORING OUTPUT ROUTING", "SERIAL PORT ROUTING",
          "PROCESSING UNIT ROUTING", "FRAME BUFFER ROUTING", "VIDEO OUTPUT LOCKS", "MONITORING OUTPUT LOCKS",
          "SERIAL PORT LOCKS", "VIDEO INPUT STATUS", "VIDEO OUTPUT STATUS", "SERIAL PORT STATUS",
          "SERIAL PORT DIRECTIONS"}) {
        const std::string text = header + ":\n0 None\n1 -1\n2 U\n\n";
        EXPECT_EQ(blocks_of(text).at(0).header, header);
        EXPECT_THAT(entries_of(text), ElementsAre(Pair(0, "None"), Pair(1, "-1"), Pair(2, "U")));
    }
}

TEST(VideohubBlocks, EntriesAreReadLeniently) {
    EXPECT_THAT(entries_of("X:\n0 Camera 1\n1 \n2\n31 -1\n9  b\n"
                           "-1 x\n10000 x\n99999999999999999999 x\n7x y\nx 1\n\n"),
                ElementsAre(Pair(0, "Camera 1"), Pair(1, ""), Pair(2, ""), Pair(31, "-1"), Pair(9, " b")));
}

TEST(VideohubBlocks, PropertiesAreANameAColonAndAValue) {
    EXPECT_THAT(
        properties_of("VIDEOHUB DEVICE:\nDevice present: true\nModel name:  a: b \nnonsense\nEmpty:\n\n"),
        ElementsAre(Pair("Device present", "true"), Pair("Model name", "a: b"), Pair("Empty", "")));
}
