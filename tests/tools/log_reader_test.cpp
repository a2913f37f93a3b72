#include "log_reader.h"
#include "temporary_directory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

class LogReader : public testing::Test {
protected:
    void TearDown() override {
        close_log(&reader);
    }
    void append(const std::string& text) const {
        std::ofstream(reader.path, std::ios::app) << text;
    }
    std::string open(int lines) {
        std::string text;
        EXPECT_EQ(open_log(&reader, lines, &text), 0);
        return text;
    }

    temporary_directory directory;
    log_reader reader{directory.file("log"), -1, 0, {}};
};

} // namespace

TEST_F(LogReader, LastLinesAreShown) {
    append("1\n2\n\n4\n");
    for (const auto& [lines, text] : std::vector<std::pair<int, std::string>>{
             {0, ""}, {1, "4\n"}, {2, "\n4\n"}, {3, "2\n\n4\n"}, {4, "1\n2\n\n4\n"}, {9, "1\n2\n\n4\n"}}) {
        EXPECT_EQ(open(lines), text) << lines;
        close_log(&reader);
    }
}

TEST_F(LogReader, LastLinesOfALargeFileAreFound) {
    for (int i = 0; i < 3; ++i)
        append(std::string(100000, 'x') + "\n");
    EXPECT_EQ(open(2).size(), 200002U);
}

TEST_F(LogReader, EmptyFileHasNone) {
    append("");
    EXPECT_EQ(open(5), "");
    EXPECT_EQ(read_log_further(&reader), "");
}

TEST_F(LogReader, LineThatHasNotEndedWaitsForItsEnd) {
    append("1\n2");
    EXPECT_EQ(open(5), "1\n");
    EXPECT_EQ(read_log_further(&reader), "");
    append("2\n3\n");
    EXPECT_EQ(read_log_further(&reader), "22\n3\n");
    append("4");
    EXPECT_EQ(read_log_further(&reader), "");
    EXPECT_EQ(rest_of_log(&reader), "4\n");
    EXPECT_EQ(rest_of_log(&reader), "");
}

TEST_F(LogReader, NewFileInItsPlaceIsReadAfterTheRestOfTheOld) {
    append("1\n");
    open(5);
    append("2\n");
    std::filesystem::rename(reader.path, reader.path + ".1");
    append("3\n");
    EXPECT_EQ(read_log_further(&reader), "2\n3\n");
    append("4\n");
    EXPECT_EQ(read_log_further(&reader), "4\n");
}

TEST_F(LogReader, MissingFileIsWaitedFor) {
    append("1\n");
    open(5);
    std::filesystem::rename(reader.path, reader.path + ".1");
    std::ofstream(reader.path + ".1", std::ios::app) << "2\n";
    EXPECT_EQ(read_log_further(&reader), "2\n");
    append("3\n");
    EXPECT_EQ(read_log_further(&reader), "3\n");
}

TEST_F(LogReader, FileThatWasCutShortIsReadFromItsBeginning) {
    append("1\n2\n3");
    open(5);
    std::filesystem::resize_file(reader.path, 0);
    append("4\n");
    EXPECT_EQ(read_log_further(&reader), "4\n");
}

TEST_F(LogReader, WhatIsNoFileIsRefused) {
    std::string text;
    EXPECT_EQ(open_log(&reader, 1, &text), -1);
    EXPECT_EQ(errno, ENOENT);
    std::filesystem::create_directory(reader.path);
    EXPECT_EQ(open_log(&reader, 1, &text), -1);
    EXPECT_EQ(reader.fd, -1);
}
