#include "item_facts.h"
#include "written_file.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

std::string problem_of(const std::string& content) {
    const temporary_directory directory;
    write_file(directory.file("x.item"), content);
    const item_facts facts = examine_item(directory.file("x.item"));
    EXPECT_TRUE(facts.readable);
    return facts.problem;
}

} // namespace

TEST(ItemFacts, UsableDriverIsNoProblem) {
    EXPECT_EQ(problem_of("driver=route_simulator\n"), "");
    EXPECT_EQ(problem_of("stay resident=1\r\n driver = route_simulator \r\n"), "");
    EXPECT_EQ(problem_of("driver=x\ndriver=route_last"), "");
    EXPECT_EQ(problem_of("driver=sierra_video_aspen_hdsdi\n"), "");
}

TEST(ItemFacts, MissingOrUnusableDriverIsNamed) {
    EXPECT_EQ(problem_of(""), "the item file names no driver");
    EXPECT_EQ(problem_of("Driver=route_x\ndriver\n"), "the item file names no driver");
    EXPECT_EQ(problem_of("driver=\n"), "the item file names no usable driver: \"\"");
    EXPECT_EQ(problem_of("driver=../route_x\n"), "the item file names no usable driver: \"../route_x\"");
    EXPECT_EQ(problem_of("driver=route_x.sh\n"), "the item file names no usable driver: \"route_x.sh\"");
}

TEST(ItemFacts, FileThatIsNoneIsTold) {
    const temporary_directory directory;
    EXPECT_EQ(examine_item(directory.file("missing")).problem, "there is no item file");
    EXPECT_EQ(examine_item(directory.path()).problem, "the item file is no regular file");
    EXPECT_FALSE(examine_item(directory.path()).readable);
}
