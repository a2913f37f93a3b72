#include "log_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

constexpr std::uint64_t noon = 1000000000; // some moment, microseconds

class RareLine : public testing::Test {
protected:
    bool add_at(std::uint64_t now) {
        return add_rare_line(log, lines, "again", "NOTE", "again", now);
    }

    log_lines log;
    rare_lines lines;
};

} // namespace

TEST_F(RareLine, IsToldOncePerPeriod) {
    EXPECT_TRUE(add_at(noon));
    EXPECT_FALSE(add_at(noon));
    EXPECT_FALSE(add_at(noon + rare_line_period_us - 1));
    EXPECT_THAT(log, ElementsAre("<NOTE>again"));
}

TEST_F(RareLine, TellsHowManyWereLeftOut) {
    for (std::uint64_t time = 0; time < rare_line_period_us; time += rare_line_period_us / 10) {
        add_at(noon + time);
    }
    log.clear();
    EXPECT_TRUE(add_at(noon + rare_line_period_us));
    EXPECT_THAT(log, ElementsAre("<NOTE>again (9 more such lines were left out)"));
    log.clear();
    EXPECT_TRUE(add_at(noon + 2 * rare_line_period_us));
    EXPECT_THAT(log, ElementsAre("<NOTE>again"));
}

TEST_F(RareLine, OneCauseKeepsNoOtherBack) {
    add_at(noon);
    EXPECT_TRUE(add_rare_line(log, lines, "else", "WARN", "else", noon));
    EXPECT_THAT(log, ElementsAre("<NOTE>again", "<WARN>else"));
}

TEST_F(RareLine, FirstOneIsToldWhateverTheClockSays) {
    EXPECT_TRUE(add_at(0));
    EXPECT_FALSE(add_at(1));
}
