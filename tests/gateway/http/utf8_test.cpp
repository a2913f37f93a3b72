#include "gateway/http/utf8.h"

namespace gateway {
namespace {

TEST(Utf8, TextOfAllLengthsIsTaken) {
    EXPECT_TRUE(is_utf8(""));
    EXPECT_TRUE(is_utf8("plain"));
    EXPECT_TRUE(is_utf8("\xc3\xa4 \xe2\x98\x83 \xf0\x9f\x93\xba"));
    EXPECT_TRUE(is_utf8("\xed\x9f\xbf\xee\x80\x80")); // beside the surrogates
    EXPECT_TRUE(is_utf8("\xf4\x8f\xbf\xbf"));         // the last one there is
}

TEST(Utf8, WhatReadersUnderstandInTwoWaysIsNot) {
    for (const char* text : {"\xff", "\x80", "\xc3", "\xe2\x98", "\xf0\x9f\x93",         // no lead, cut short
                             "\xc0\xaf", "\xc1\xbf", "\xe0\x80\xaf", "\xf0\x80\x80\xaf", // longer than needed
                             "\xed\xa0\x80", "\xed\xbf\xbf",                             // surrogates
                             "\xf4\x90\x80\x80", "\xf5\x80\x80\x80",                     // beyond all
                             "\xe2\x28\xa1"})
        EXPECT_FALSE(is_utf8(text)) << testing::PrintToString(std::string(text));
}

} // namespace
} // namespace gateway
