#include "backend.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

// A log of `count` line feeds: "0\n1\n ... \ncount".
std::string log_with_line_feeds(int count) {
    std::string log = "0";
    for (int i = 1; i <= count; ++i)
        log += '\n' + std::to_string(i);
    return log;
}

long line_feeds(const std::string& log) {
    return std::count(log.begin(), log.end(), '\n');
}

std::string appended(std::string log, const std::string& line) {
    append_log_line(log, line);
    return log;
}

} // namespace

TEST(Log, FirstLineStandsAlone) {
    EXPECT_EQ(appended("", "Starting backend driver"), "Starting backend driver");
}

TEST(Log, NextLineFollowsALineFeed) {
    EXPECT_EQ(appended("one", "two"), "one\ntwo");
}

TEST(Log, EmptyLineIsAnEntryOfItsOwn) {
    EXPECT_EQ(appended("one", ""), "one\n");
    EXPECT_EQ(appended("one\n", "three"), "one\n\nthree");
}

TEST(Log, EmptyLineInAnEmptyLogLeavesItEmpty) {
    EXPECT_EQ(appended("", ""), "");
}

TEST(Log, WithExactlyTwentyLineFeedsIsNotCut) {
    const std::string log = log_with_line_feeds(20);
    EXPECT_EQ(appended(log, "new"), log + "\nnew");
}

TEST(Log, WithTwentyOneLineFeedsIsCutAtTheFirst) {
    const std::string log = log_with_line_feeds(21);
    EXPECT_EQ(appended(log, "new"), log.substr(1) + "\nnew");
}

TEST(Log, ThatBeginsWithTheFirstOfTwentyOneLineFeedsStaysWhole) {
    const std::string log = log_with_line_feeds(21).substr(1);
    EXPECT_EQ(appended(log, "new"), log + "\nnew");
}

TEST(Log, WithManyLineFeedsKeepsTwentyAndTheOneBefore) {
    const std::string kept = "\n480" + log_with_line_feeds(500).substr(log_with_line_feeds(480).size());
    EXPECT_EQ(appended(log_with_line_feeds(500), "new"), kept + "\nnew");
}

TEST(Log, IsCutBeforeTheLineIsAppendedNeverAfter) {
    const std::string story = log_with_line_feeds(40);
    EXPECT_EQ(appended("one", story), "one\n" + story);
}

TEST(Log, KeepsAboutTwentyLinesForEver) {
    std::string log;
    for (int i = 0; i < 1000; ++i)
        append_log_line(log, std::to_string(i));
    EXPECT_EQ(line_feeds(log), 22);
    EXPECT_EQ(log.front(), '\n');
    EXPECT_TRUE(log.starts_with("\n978\n979\n")) << log;
    EXPECT_TRUE(log.ends_with("\n998\n999")) << log;
}

TEST(Log, OfLineFeedsAloneIsCutLikeAnyOther) {
    EXPECT_EQ(appended(std::string(30, '\n'), "new"), std::string(21, '\n') + "\nnew");
}

TEST(Log, HasNoLimitInBytes) {
    const std::string line(3000000, 'x');
    EXPECT_EQ(appended(line, line), line + '\n' + line);
}

TEST(Log, GivesBackTheMemoryOfALongLineThatHasGone) {
    std::string log(3000000, 'x');
    for (int line = 0; line < 30; ++line)
        append_log_line(log, "short");
    EXPECT_LT(log.capacity(), 1000U);
}
