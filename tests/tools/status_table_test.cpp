#include "display_text.h"
#include "example_router.h"
#include "status_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace {

std::vector<std::string> lines_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

TEST(StatusTable, ShowsNumbersAndNamesAligned) {
    router_status status = example_router(12, 10);
    status.outputs[0].source = {12, 12};
    status.outputs[8].source = {0, 0};
    const auto lines = lines_of(status_table(status, 80, false));
    ASSERT_EQ(lines.size(), 12U);
    EXPECT_EQ(lines[0], "Router with 12 inputs and 10 outputs");
    EXPECT_EQ(lines[1], "Out  Name        Source");
    EXPECT_EQ(lines[2], "  1  Monitor 1   12 Camera 12");
    EXPECT_EQ(lines[3], "  2  Monitor 2    1 Camera 1");
    EXPECT_EQ(lines[10], "  9  Monitor 9    -");
    EXPECT_EQ(lines[11], " 10  Monitor 10   1 Camera 1");
}

TEST(StatusTable, ShowsBothLevelsWhenTheyDifferAnywhere) {
    router_status status = example_router(4, 2);
    status.outputs[1].source = {0, 4};
    const auto lines = lines_of(status_table(status, 80, false));
    EXPECT_EQ(lines[1], "Out  Name       Audio       Video");
    EXPECT_EQ(lines[2], "  1  Monitor 1  1 Camera 1  1 Camera 1");
    EXPECT_EQ(lines[3], "  2  Monitor 2  -           4 Camera 4");
}

TEST(StatusTable, FitsTheWidthWithLongNames) {
    router_status status = example_router(2, 2);
    status.inputs[0] = std::string(300, 'i');
    status.outputs[0] = {std::string(300, 'o'), {1, 2}};
    for (const std::size_t width : {40U, 79U, 80U, 132U}) {
        for (const std::string& line : lines_of(status_table(status, width, false)))
            EXPECT_LE(columns_of(line), width);
    }
    EXPECT_THAT(status_table(status, 80, false), testing::HasSubstr("ooo…"));
    EXPECT_THAT(status_table(status, 80, false), testing::HasSubstr("iii…"));
    // A short column keeps its whole text while a wide one is cut.
    EXPECT_THAT(status_table(status, 80, false), testing::HasSubstr("2 Camera 2"));
}

TEST(StatusTable, CutsBetweenCharactersAndCountsWideOnes) {
    router_status status = example_router(1, 3);
    for (int i = 0; i < 60; ++i) {
        status.outputs[0].name += "ü";
        status.outputs[1].name += "鏡";
        status.outputs[2].name += "e\xcc\x81"; // e with a combining accent
    }
    status.inputs[0] = std::string(50, 'c');
    for (const std::string& line : lines_of(status_table(status, 80, false))) {
        EXPECT_LE(columns_of(line), 80U);
        EXPECT_EQ(printable(line), line) << "a character was cut";
    }
}

TEST(StatusTable, NamesCannotDisturbTheTerminal) {
    router_status status = example_router(1, 1);
    status.outputs[0].name = "a\x1b[2J\nb\xff";
    const std::string table = status_table(status, 80, false);
    EXPECT_EQ(lines_of(table).size(), 3U);
    EXPECT_THAT(table, testing::HasSubstr("a?[2J?b\xef\xbf\xbd"));
}

TEST(StatusTable, SourceWithoutANameShowsItsNumber) {
    router_status status = example_router(2, 2);
    status.inputs[1].clear();
    status.outputs[0].source = {2, 2};
    status.outputs[1].source = {300, 300}; // beyond what the reply names
    const auto lines = lines_of(status_table(status, 80, false));
    EXPECT_EQ(lines[2], "  1  Monitor 1    2");
    EXPECT_EQ(lines[3], "  2  Monitor 2  300");
}

TEST(StatusTable, SaysThatALargeRouterMayBeLarger) {
    EXPECT_EQ(lines_of(status_table(example_router(128, 1), 80, false))[0],
              "Router with at least 128 inputs and 1 output");
}

TEST(StatusTable, HeadsAreBoldOnlyWhenAskedFor) {
    const router_status status = example_router(1, 1);
    EXPECT_EQ(status_table(status, 80, false).find('\x1b'), std::string::npos);
    EXPECT_EQ(lines_of(status_table(status, 80, true))[1], "\x1b[1mOut  Name       Source\x1b[0m");
}
