#include "text.h"

#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <string>

namespace {

using text_or_none = std::optional<std::string>;

struct division {
    const char* line;
    text_or_none name;
    text_or_none value;
};

void PrintTo(const division& division, std::ostream* stream) {
    *stream << '"' << division.line << '"';
}

class NameValueLine : public testing::TestWithParam<division> {};

TEST_P(NameValueLine, IsSplitAtTheFirstEqualsSign) {
    std::string line = GetParam().line;
    const char* name = "untouched";
    const char* value = "untouched";
    divide_name_equ_value_pair(line.data(), &name, &value);
    EXPECT_EQ(name == nullptr ? text_or_none{} : text_or_none{name}, GetParam().name);
    EXPECT_EQ(value == nullptr ? text_or_none{} : text_or_none{value}, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Text, NameValueLine,
                         testing::Values(division{"a=b", "a", "b"}, division{" a = b ", "a", "b"},
                                         division{"\ta\t=\tb\t", "a", "b"}, division{"=b", {}, "b"},
                                         division{" \t=b", {}, "b"}, division{"a", "a", {}},
                                         division{" a ", "a", {}}, division{"", {}, {}},
                                         division{"  ", {}, {}}, division{"a=", "a", ""},
                                         division{"a= \t", "a", ""}, division{"a=b=c", "a", "b=c"},
                                         division{"=", {}, ""}, division{"==", {}, "="},
                                         division{"stay resident=1", "stay resident", "1"},
                                         division{" stay resident = a b ", "stay resident", "a b"},
                                         division{"a=b\r", "a", "b\r"}));

struct ending {
    const char* line;
    const char* without;
};

void PrintTo(const ending& ending, std::ostream* stream) {
    *stream << testing::PrintToString(ending.line);
}

class LineEnd : public testing::TestWithParam<ending> {};

TEST_P(LineEnd, IsRemovedOnce) {
    std::string line = GetParam().line;
    EXPECT_EQ(chomp(line.data()), line.data());
    EXPECT_STREQ(line.c_str(), GetParam().without);
}

INSTANTIATE_TEST_SUITE_P(Text, LineEnd,
                         testing::Values(ending{"driver=x\n", "driver=x"}, ending{"driver=x\r\n", "driver=x"},
                                         ending{"driver=x\r", "driver=x"}, ending{"driver=x", "driver=x"},
                                         ending{"\n", ""}, ending{"\r\n", ""}, ending{"\r", ""},
                                         ending{"", ""}, ending{"a\n\n", "a\n"}, ending{"a\n\r", "a\n"},
                                         ending{"a\r\r\n", "a\r"}, ending{"a\nb", "a\nb"},
                                         ending{" a \n", " a "}));

} // namespace
