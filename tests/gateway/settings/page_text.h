// What the source's pages say, for tests that compare it with the program.
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

// The whole text of a file, whose path begins at the top of the source; empty, with a failure told, where
// there is none.
inline std::string page_text(const std::string& path) {
    std::ifstream file(VRDX_SOURCE_DIRECTORY "/" + path);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
