#include "gateway/access/lock_reason.h"
#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

using gateway::lock_reason_problem;

TEST(LockReason, IsOneLineOfUtf8) {
    for (const std::string reason :
         {"", "on air until 18:00", "r\xc3\xa9p\xc3\xa9t", "\xe2\x82\xac \xe6\x94\xbe\xe9\x80\x81",
          "\xf0\x9f\x93\xba", "\xf4\x8f\xbf\xbf", "\xed\x9f\xbf", "\xc2\xa0"})
        EXPECT_EQ(lock_reason_problem(reason), "") << reason;
}

TEST(LockReason, IsNothingElse) {
    const std::string problem = "that is no reason; possible: one line of up to 256 bytes of UTF-8";
    for (const std::string& reason :
         {std::string("a\nb"), std::string("\x1b[2J"), std::string("a\0b", 3), std::string("\x7f"),
          std::string("\xc2\x85"), std::string("\xe2\x80\xa8"), // other line ends
          std::string("\xff"), std::string("\xc3"), std::string("\x80"), std::string("\xc0\x80"),
          std::string("\xc1\xbf"), std::string("\xe0\x80\xaf"), std::string("\xf0\x80\x80\xaf"),
          std::string("\xed\xa0\x80"), std::string("\xf4\x90\x80\x80"), std::string("\xf8\x88\x80\x80\x80"),
          std::string("\xe2\x82"), std::string("\xe2(\xa1")})
        EXPECT_EQ(lock_reason_problem(reason), problem) << reason;
}

TEST(LockReason, HasALongest) {
    EXPECT_EQ(lock_reason_problem(std::string(gateway::lock_reason_limit, 'x')), "");
    EXPECT_NE(lock_reason_problem(std::string(gateway::lock_reason_limit + 1, 'x')), "");
}
