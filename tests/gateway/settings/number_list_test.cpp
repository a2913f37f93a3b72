#include "gateway/settings/limits.h"
#include "gateway/settings/number_list.h"

#include <gtest/gtest.h>

using gateway::number_list;

namespace {

std::string told_list(const std::string& text) {
    std::string problem;
    const auto list = number_list::parse(text, &problem);
    return list ? list->text() : "no list";
}

std::string problem_of(const std::string& text) {
    std::string problem;
    return number_list::parse(text, &problem) ? "" : problem;
}

} // namespace

TEST(NumberList, HasWhatItsTextSays) {
    std::string problem;
    const auto list = number_list::parse("1-8,12", &problem);
    ASSERT_TRUE(list);
    for (int number = -1; number <= 14; ++number)
        EXPECT_EQ(list->has(number), (number >= 1 && number <= 8) || number == 12) << number;
    EXPECT_FALSE(list->all());
}

TEST(NumberList, OfNothingSaidHasAll) {
    const number_list list;
    EXPECT_TRUE(list.all());
    EXPECT_TRUE(list.has(1));
    EXPECT_TRUE(list.has(gateway::largest_number));
    EXPECT_EQ(list.text(), "");
}

TEST(NumberList, HoldsWhatHasNoNumberBeyondIt) {
    const auto list = [](const std::string& text) {
        std::string problem;
        return number_list::parse(text, &problem).value();
    };
    const number_list all;
    EXPECT_TRUE(all.holds(all));
    EXPECT_TRUE(all.holds(list("1-4096")));
    EXPECT_FALSE(list("1-4096").holds(all));
    EXPECT_TRUE(list("1-8,12").holds(list("1-8,12")));
    EXPECT_TRUE(list("1-4,5-8").holds(list("3-6,8")));
    EXPECT_FALSE(list("1-8,12").holds(list("8-9")));
    EXPECT_FALSE(list("1-8,12").holds(list("8-12")));
    EXPECT_FALSE(list("1-8,12").holds(list("12,13")));
}

TEST(NumberList, IsShownInOrderAndShort) {
    EXPECT_EQ(told_list("12,1-4,5-8"), "1-8,12");
    EXPECT_EQ(told_list("3,2,1"), "1-3");
    EXPECT_EQ(told_list("1-10,2-3,5"), "1-10");
    EXPECT_EQ(told_list("1,3,5"), "1,3,5");
    EXPECT_EQ(told_list("007"), "7");
    EXPECT_EQ(told_list("4096"), "4096");
    EXPECT_EQ(told_list("1-4096"), "1-4096");
}

TEST(NumberList, AnEmptyTextIsNoListOfAll) {
    EXPECT_EQ(problem_of(""),
              "\"\" is no number or range; possible: numbers from 1 to 4096 such as \"1-8,12\"");
}

TEST(NumberList, TellsThePieceThatIsWrong) {
    for (const std::string piece : {"0", "4097", "5-3", "1-", "-1", "-", "x", " 1", "1 ", "+1", "1-2-3",
                                    "1.5", "99999999999999999999", "0-3", "\xc2\xb9"})
        EXPECT_EQ(problem_of("1," + piece + ",2"),
                  "\"" + piece +
                      "\" is no number or range; possible: numbers from 1 to 4096 such as \"1-8,12\"");
    for (const std::string text : {"1,", ",1", "1,,2"})
        EXPECT_EQ(problem_of(text), problem_of("")) << text;
}

TEST(NumberList, HasALongestText) {
    std::string text = "1";
    while (text.size() + 2 <= gateway::number_list_text_limit)
        text += ",1";
    EXPECT_EQ(told_list(text), "1");
    EXPECT_EQ(problem_of(text + ",1"),
              "the list is longer than 4096 bytes; possible: ranges such as \"1-8,12\"");
}
