#include "display_text.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(DisplayText, ControlCharactersAndBrokenBytesAreReplaced) {
    EXPECT_EQ(printable("Büro 1"), "Büro 1");
    EXPECT_EQ(printable("a\tb\n\x7f\0c"s), "a?b???c");
    EXPECT_EQ(printable("\xff"), "\ufffd");
    EXPECT_EQ(printable("\xc3"), "\ufffd");                               // cut short
    EXPECT_EQ(printable("\xc0\x80"), "\ufffd\ufffd");                     // longer than it may be
    EXPECT_EQ(printable("\xed\xa0\x80"), "\ufffd\ufffd\ufffd");           // half of a pair
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\ufffd\ufffd\ufffd\ufffd"); // beyond the last code
    EXPECT_EQ(printable("\xc2\x85"), "?");                                // next line
    EXPECT_EQ(printable("\xe2\x80\xae"), "?");                            // turns the direction of the text
}

TEST(DisplayText, ColumnsAreCountedNotBytes) {
    EXPECT_EQ(columns_of(""), 0U);
    EXPECT_EQ(columns_of("abc"), 3U);
    EXPECT_EQ(columns_of("äöü"), 3U);
    EXPECT_EQ(columns_of("鏡"), 2U);
    EXPECT_EQ(columns_of("e\xcc\x81"), 1U);
    EXPECT_EQ(columns_of("🎥"), 2U);
}

TEST(DisplayText, WhatFitsIsNotCut) {
    EXPECT_EQ(cut_to("Camera", 6), "Camera");
    EXPECT_EQ(cut_to("äöü", 3), "äöü");
    EXPECT_EQ(cut_to("", 0), "");
}

TEST(DisplayText, WhatDoesNotFitEndsInAnEllipsis) {
    EXPECT_EQ(cut_to("Camera", 5), "Came…");
    EXPECT_EQ(cut_to("äöü", 2), "ä…");
    EXPECT_EQ(cut_to("Camera", 1), "…");
    EXPECT_EQ(cut_to("Camera", 0), "");
    EXPECT_EQ(cut_to("鏡鏡鏡", 4), "鏡…"); // half of a wide character is no character
    EXPECT_EQ(cut_to("e\xcc\x81xyz", 2), "e\xcc\x81…");
}

TEST(DisplayText, PaddingCountsColumns) {
    EXPECT_EQ(pad_right("ä", 3), "ä  ");
    EXPECT_EQ(pad_left("鏡", 3), " 鏡");
    EXPECT_EQ(pad_right("long", 2), "long");
}

TEST(DisplayText, QuotedTextsShowEveryByte) {
    EXPECT_EQ(in_quotes("a \"b\" \\ \n\r\t"), R"("a \"b\" \\ \n\r\t")");
    EXPECT_EQ(in_quotes("\0\x1b\xff ü"s), R"("\x00\x1b\xff ü")");
}
