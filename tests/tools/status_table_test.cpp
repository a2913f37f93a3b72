#include "display_text.h"
#include "example_router.h"
#include "status_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>

namespace {

std::vector<std::string> lines_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string table_of(const vrdx::router_picture& picture, std::size_t width = 80, bool bold = false) {
    std::vector<int> outputs(picture.outputs.size());
    std::iota(outputs.begin(), outputs.end(), 1);
    return status_table(picture, outputs, width, bold);
}

vrdx::router_picture one_level(vrdx::router_picture picture) {
    picture.split_levels = false;
    return picture;
}

} // namespace

TEST(StatusTable, ShowsNumbersAndNamesAligned) {
    vrdx::router_picture picture = one_level(example_router(12, 10));
    picture.outputs[0].sources = {12, 12};
    picture.outputs[8].sources = {0, 0};
    picture.outputs[9].sources = {-1, -1};
    const auto lines = lines_of(table_of(picture));
    ASSERT_EQ(lines.size(), 12U);
    EXPECT_EQ(lines[0], "Router with 12 inputs and 10 outputs");
    EXPECT_EQ(lines[1], "Out  Name        Source        Waits");
    EXPECT_EQ(lines[2], "  1  Monitor 1   12 Camera 12");
    EXPECT_EQ(lines[3], "  2  Monitor 2    1 Camera 1");
    EXPECT_EQ(lines[10], "  9  Monitor 9    -");
    EXPECT_EQ(lines[11], " 10  Monitor 10   ?");
}

TEST(StatusTable, ShowsAColumnForEachLevelOfARouterThatHasThem) {
    vrdx::router_picture picture = example_router(4, 2);
    const std::string heads = "Out  Name       Audio       Video       Waits";
    EXPECT_EQ(lines_of(table_of(picture))[1], heads) << "also while both levels are alike";
    picture.outputs[1].sources = {0, 4};
    const auto lines = lines_of(table_of(picture));
    EXPECT_EQ(lines[1], heads);
    EXPECT_EQ(lines[2], "  1  Monitor 1  1 Camera 1  1 Camera 1");
    EXPECT_EQ(lines[3], "  2  Monitor 2  -           4 Camera 4");
}

TEST(StatusTable, MarksTakesThatAreNotConfirmed) {
    vrdx::router_picture picture = one_level(example_router(4, 3));
    picture.outputs[0].waits_ms = 840;
    picture.outputs[1].waits_ms = 0; // it is not taken back by itself
    const auto lines = lines_of(table_of(picture));
    EXPECT_EQ(lines[2], "  1  Monitor 1  1 Camera 1  * 0.8 s");
    EXPECT_EQ(lines[3], "  2  Monitor 2  1 Camera 1  *");
    EXPECT_EQ(lines[4], "  3  Monitor 3  1 Camera 1");
}

TEST(StatusTable, ShowsTheOutputsAskedFor) {
    const auto lines = lines_of(status_table(example_router(4, 8), {2, 7}, 80, false));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "Router with 4 inputs and 8 outputs, 2 of them shown");
    EXPECT_EQ(lines[3], "  7  Monitor 7  1 Camera 1  1 Camera 1");
}

TEST(StatusTable, FitsTheWidthWithLongNames) {
    vrdx::router_picture picture = example_router(2, 2);
    picture.inputs[0].name = std::string(300, 'i');
    picture.outputs[0].name = std::string(300, 'o');
    picture.outputs[0].sources = {1, 2};
    for (const std::size_t width : {40U, 79U, 80U, 132U}) {
        for (const std::string& line : lines_of(table_of(picture, width)))
            EXPECT_LE(columns_of(line), width);
    }
    EXPECT_THAT(table_of(picture), testing::HasSubstr("ooo…"));
    EXPECT_THAT(table_of(picture), testing::HasSubstr("iii…"));
    // A short column keeps its whole text while a wide one is cut.
    EXPECT_THAT(table_of(picture), testing::HasSubstr("2 Camera 2"));
}

TEST(StatusTable, CutsBetweenCharactersAndCountsWideOnes) {
    vrdx::router_picture picture = example_router(1, 3);
    for (int i = 0; i < 60; ++i) {
        picture.outputs[0].name += "ü";
        picture.outputs[1].name += "鏡";
        picture.outputs[2].name += "e\xcc\x81"; // e with a combining accent
    }
    picture.inputs[0].name = std::string(50, 'c');
    for (const std::string& line : lines_of(table_of(picture))) {
        EXPECT_LE(columns_of(line), 80U);
        EXPECT_EQ(printable(line), line) << "a character was cut";
    }
}

TEST(StatusTable, NamesCannotDisturbTheTerminal) {
    vrdx::router_picture picture = example_router(1, 1);
    picture.outputs[0].name = "a\x1b[2J\nb\xff";
    const std::string table = table_of(picture);
    EXPECT_EQ(lines_of(table).size(), 3U);
    EXPECT_THAT(table, testing::HasSubstr("a?[2J?b\xef\xbf\xbd"));
}

TEST(StatusTable, SourceWithoutANameShowsItsNumber) {
    vrdx::router_picture picture = one_level(example_router(2, 2));
    picture.inputs[1].name.clear();
    picture.outputs[0].sources = {2, 2};
    EXPECT_EQ(lines_of(table_of(picture))[2], "  1  Monitor 1  2");
}

TEST(StatusTable, HeadsAreBoldOnlyWhenAskedFor) {
    const vrdx::router_picture picture = one_level(example_router(1, 1));
    EXPECT_EQ(table_of(picture).find('\x1b'), std::string::npos);
    EXPECT_EQ(lines_of(table_of(picture, 80, true))[1], "\x1b[1mOut  Name       Source      Waits\x1b[0m");
}
