#include "sierra_string_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> strings_of(string_reader& reader, std::string_view bytes) {
    std::vector<std::string> strings;
    for (const char byte : bytes) {
        const read_result result = read_byte(reader, byte);
        EXPECT_NE(result, read_result::too_long);
        if (result == read_result::complete) {
            strings.push_back(reader.content);
        }
    }
    return strings;
}

std::vector<std::string> strings_of(std::string_view bytes) {
    string_reader reader;
    return strings_of(reader, bytes);
}

read_result read_many(string_reader& reader, char byte, std::size_t count) {
    read_result result = read_result::more;
    for (std::size_t taken = 0; taken < count && result == read_result::more; ++taken) {
        result = read_byte(reader, byte);
    }
    return result;
}

} // namespace

TEST(SierraStringReader, HandsOutWhatStandsBetweenStarsAndExclamationMarks) {
    EXPECT_THAT(strings_of("** X5,17,3 !!\r** OK !!\r"), ElementsAre(" X5,17,3 ", " OK "));
}

TEST(SierraStringReader, EmptyStringIsOne) {
    EXPECT_THAT(strings_of("**!!**!!"), ElementsAre("", ""));
}

TEST(SierraStringReader, NewStarsDiscardAnIncompleteString) {
    EXPECT_THAT(strings_of("** X1,2** OK !!"), ElementsAre(" OK "));
    EXPECT_THAT(strings_of("** X1,2 !** OK !!"), ElementsAre(" OK "));
}

TEST(SierraStringReader, ThirdStarBeginsAsWell) {
    EXPECT_THAT(strings_of("*** OK !!"), ElementsAre(" OK "));
    EXPECT_THAT(strings_of("** a*** OK !!"), ElementsAre(" OK "));
}

TEST(SierraStringReader, SingleStarAndMarkAreContent) {
    EXPECT_THAT(strings_of("**a*b!c!!"), ElementsAre("a*b!c"));
}

TEST(SierraStringReader, SmallRoutersWriteOneStarAndOneMark) {
    EXPECT_THAT(strings_of("* OK !\r* X1,2,1 OK !\r** OK !!"), ElementsAre(" OK ", " X1,2,1 OK ", " OK "));
    string_reader reader;
    strings_of(reader, "* OK !\r");
    EXPECT_EQ(reader.stray, 0U);
}

TEST(SierraStringReader, ControlCharactersAreSkippedWhereverTheyStand) {
    EXPECT_THAT(strings_of(std::string_view("\n*\r*\0 O\x7fK\t !\x1b!\r\n", 16)), ElementsAre(" OK "));
}

TEST(SierraStringReader, WhatIsOutsideIsNoString) {
    EXPECT_THAT(strings_of("hello!! X1,2,3 !!"), IsEmpty());
    EXPECT_THAT(strings_of("hello ** OK !! world ** X1,2,3 !!"), ElementsAre(" OK ", " X1,2,3 "));
}

TEST(SierraStringReader, CountsStrayBytes) {
    string_reader reader;
    strings_of(reader, "\r ** OK !!\r\n");
    EXPECT_EQ(reader.stray, 0U);
    strings_of(reader, "abc** OK !!");
    EXPECT_EQ(reader.stray, 3U);
    strings_of(reader, "**de** OK !!");
    EXPECT_EQ(reader.stray, 5U);
}

TEST(SierraStringReader, ResultIsTheSameForEveryCut) {
    const std::string text = "\r** X1,2,3 X2,-,1 OK !!\r**** ERROR a!b !!** broken ** Y1,2 !!!";
    const std::vector<std::string> whole = strings_of(text);
    ASSERT_EQ(whole.size(), 3U);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        string_reader reader;
        std::vector<std::string> strings = strings_of(reader, std::string_view(text).substr(0, cut));
        for (std::string& string : strings_of(reader, std::string_view(text).substr(cut))) {
            strings.push_back(std::move(string));
        }
        EXPECT_EQ(strings, whole) << "cut at " << cut;
    }
}

TEST(SierraStringReader, OneMebibyteWithoutTheEndIsTooLong) {
    string_reader reader;
    strings_of(reader, "** X1,2,3 ");
    EXPECT_EQ(read_many(reader, 'a', longest_string - 10), read_result::more);
    EXPECT_EQ(read_byte(reader, 'a'), read_result::too_long);
    EXPECT_EQ(read_byte(reader, 'a'), read_result::too_long);
    EXPECT_THAT(reader.content, IsEmpty());
}

TEST(SierraStringReader, SoAreOneMebibyteOfAnythingElse) {
    for (const char byte : {'a', '*', '!', ' ', '\r', '\0', '\xff'}) {
        string_reader reader;
        EXPECT_EQ(read_many(reader, byte, longest_string), read_result::more);
        EXPECT_EQ(read_byte(reader, byte), read_result::too_long);
    }
}

TEST(SierraStringReader, LongStringJustWithinTheLimitIsRead) {
    string_reader reader;
    strings_of(reader, "**");
    EXPECT_EQ(read_many(reader, 'a', longest_string - 4), read_result::more);
    EXPECT_THAT(strings_of(reader, "!!** OK !!"), ElementsAre(std::string(longest_string - 4, 'a'), " OK "));
}
