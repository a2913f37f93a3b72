// Settings of the item file that are one value each.
#include "item_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ItemSettings : public testing::Test {
protected:
    item_settings table() {
        return {number_setting("count", count, 1, 9, true), switch_setting("flag", flag),
                text_setting("word", word, true)};
    }

    int count = 5;
    bool flag = false;
    std::string word = "before";
    log_lines log;
};

} // namespace

TEST_F(ItemSettings, AreReadWithoutTheBlanksAroundThem) {
    read_settings(table(), {{"count", " 7\t"}, {"flag", "yes "}, {"word", " a b "}, {"else", "x"}}, log);
    EXPECT_EQ(count, 7);
    EXPECT_TRUE(flag);
    EXPECT_EQ(word, "a b");
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(ItemSettings, MalformedOnesKeepTheirDefaultsAndAreTold) {
    for (const char* const value : {"0", "10", "", "x", "1 2", "5.", "99999999999999999999", "-1"}) {
        read_settings(table(), {{"count", value}}, log);
        EXPECT_EQ(count, 5) << value;
    }
    EXPECT_EQ(log.size(), 8U);
    read_settings(table(), {{"flag", "true"}, {"word", "a\nb"}}, log);
    EXPECT_FALSE(flag);
    EXPECT_EQ(word, "before");
    EXPECT_EQ(log.size(), 10U);
    EXPECT_EQ(log.front(), "<ERR>setting count = 0 is malformed, the default is used");
}

TEST_F(ItemSettings, LiveOnesChangeWhileTheProgramRuns) {
    EXPECT_TRUE(change_setting(table(), "count", "2", log));
    EXPECT_TRUE(change_setting(table(), "word", "after", log));
    EXPECT_FALSE(change_setting(table(), "flag", "yes", log));
    EXPECT_FALSE(change_setting(table(), "else", "yes", log));
    EXPECT_THAT(log, IsEmpty());
    EXPECT_FALSE(change_setting(table(), "count", "many", log));
    EXPECT_THAT(log, ElementsAre("<ERR>setting count = many is malformed, nothing is changed"));
    EXPECT_EQ(count, 2);
    EXPECT_FALSE(flag);
    EXPECT_EQ(word, "after");
}
