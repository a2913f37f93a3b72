#include "text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

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

// --- pieces of a text --------------------------------------------------------------------------------------

using std::string_literals::operator""s;

struct piece {
    std::string text;
    std::size_t most;
    std::string head;
    std::string tail;
};

void PrintTo(const piece& piece, std::ostream* stream) {
    *stream << piece.most << " of " << testing::PrintToString(piece.text);
}

class PieceOfAText : public testing::TestWithParam<piece> {};

TEST_P(PieceOfAText, HoldsWholeLetters) {
    EXPECT_EQ(text_head(GetParam().text, GetParam().most), GetParam().head);
    EXPECT_EQ(text_tail(GetParam().text, GetParam().most), GetParam().tail);
}

INSTANTIATE_TEST_SUITE_P(OfOneByteLetters, PieceOfAText,
                         testing::Values(piece{"", 0, "", ""}, piece{"", 5, "", ""}, piece{"abc", 0, "", ""},
                                         piece{"abc", 1, "a", "c"}, piece{"abc", 2, "ab", "bc"},
                                         piece{"abc", 3, "abc", "abc"}, piece{"abc", 4, "abc", "abc"},
                                         piece{"a\0c"s, 2, "a\0"s, "\0c"s}));

INSTANTIATE_TEST_SUITE_P(
    OfLongerLetters, PieceOfAText,
    testing::Values(piece{"\xc3\xa9\xc3\xa8", 0, "", ""}, piece{"\xc3\xa9\xc3\xa8", 1, "", ""},
                    piece{"\xc3\xa9\xc3\xa8", 2, "\xc3\xa9", "\xc3\xa8"},
                    piece{"\xc3\xa9\xc3\xa8", 3, "\xc3\xa9", "\xc3\xa8"},
                    piece{"\xc3\xa9\xc3\xa8", 4, "\xc3\xa9\xc3\xa8", "\xc3\xa9\xc3\xa8"},
                    piece{"a\xe2\x82\xac", 3, "a", "\xe2\x82\xac"},
                    piece{"a\xe2\x82\xac"
                          "b",
                          3, "a", "b"},
                    piece{"\xf0\x9f\x8e\xa5\xf0\x9f\x8e\xa4", 7, "\xf0\x9f\x8e\xa5", "\xf0\x9f\x8e\xa4"},
                    piece{"\xf0\x9f\x8e\xa5\xf0\x9f\x8e\xa4", 5, "\xf0\x9f\x8e\xa5", "\xf0\x9f\x8e\xa4"},
                    piece{"\xf0\x9f\x8e\xa5\xf0\x9f\x8e\xa4", 3, "", ""}));

// A row of continuing bytes is no letter: it is cut anywhere.
INSTANTIATE_TEST_SUITE_P(OfNoLetters, PieceOfAText,
                         testing::Values(piece{std::string(10, '\x80'), 6, std::string(6, '\x80'),
                                               std::string(6, '\x80')},
                                         piece{"\xff\xfe\xfd", 2, "\xff\xfe", "\xfe\xfd"}));

struct fitting {
    std::vector<std::size_t> lengths;
    std::size_t room;
    std::size_t longest;
};

void PrintTo(const fitting& fitting, std::ostream* stream) {
    *stream << testing::PrintToString(fitting.lengths) << " in " << fitting.room;
}

class LongestThatFits : public testing::TestWithParam<fitting> {};

TEST_P(LongestThatFits, UsesTheRoomAndIsFair) {
    const auto& [lengths, room, longest] = GetParam();
    EXPECT_EQ(longest_that_fits(lengths, room), longest);
    std::size_t used = 0;
    for (const std::size_t length : lengths)
        used += std::min(length, longest);
    EXPECT_LE(used, room);
}

constexpr std::size_t huge = std::numeric_limits<std::size_t>::max();

INSTANTIATE_TEST_SUITE_P(Text, LongestThatFits,
                         testing::Values(fitting{{}, 0, 0}, fitting{{}, 7, 7}, fitting{{5}, 5, 5},
                                         fitting{{5}, 100, 5}, fitting{{5}, 4, 4}, fitting{{5}, 0, 0},
                                         fitting{{0, 0}, 0, 0}, fitting{{3, 9, 1}, 13, 9},
                                         fitting{{3, 9, 1}, 12, 8}, fitting{{9, 9, 1}, 12, 5},
                                         fitting{{9, 9, 9}, 12, 4}, fitting{{9, 9, 9}, 13, 4},
                                         fitting{{9, 9, 9}, 2, 0}, fitting{{2, 3, 4, 100}, 20, 11},
                                         fitting{{huge, huge}, 10, 5}, fitting{{1, huge}, 10, 9}));

} // namespace
