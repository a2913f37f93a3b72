// The log, with a pipe that the test reads or does not read in the place of standard error.
#include "print_log.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

class PrintLog : public testing::Test {
protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0); // the writing end blocks: the harder case
        reader = ends[0];
        ASSERT_EQ(fcntl(reader, F_SETFL, O_NONBLOCK), 0);
        standard_error = dup(STDERR_FILENO);
        ASSERT_GE(dup2(ends[1], STDERR_FILENO), 0);
        close(ends[1]);
    }

    void TearDown() override {
        dup2(standard_error, STDERR_FILENO);
        close(standard_error);
        close(reader);
    }

    // All that stands in the pipe.
    [[nodiscard]] std::string read_log() const {
        std::string text;
        char bytes[4096];
        ssize_t count = 0;
        while ((count = read(reader, bytes, sizeof bytes)) > 0) {
            text.append(bytes, static_cast<std::size_t>(count));
        }
        return text;
    }

    int reader = -1;
    int standard_error = -1;
};

} // namespace

TEST_F(PrintLog, LinesComeOutInOrder) {
    log_lines log = {"<INFO>one", "<WARN>two"};
    print_log(log);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(read_log(), "<INFO>one\n<WARN>two\n");
}

// Would not end if one line waited for ever, and take ten minutes if each waited for a second.
TEST_F(PrintLog, LogThatNobodyReadsHoldsUpNothing) {
    const std::string line(1024, 'x');
    log_lines log(600, line);
    print_log(log);
    const std::string text = read_log();
    EXPECT_LT(text.size(), 600U * 1025);
    EXPECT_EQ(text.substr(0, 1025), line + "\n");
    print_log_line("<INFO>read again");
    EXPECT_EQ(read_log(), "<INFO>read again\n");
}

TEST_F(PrintLog, LineThatWasCutOffDoesNotRunIntoTheNext) {
    print_log_line(std::string(1024UL * 1024, 'x'));
    const std::string cut = read_log();
    ASSERT_LT(cut.size(), 1024UL * 1024);
    print_log_line("<INFO>next");
    EXPECT_EQ(read_log(), "\n<INFO>next\n");
}

TEST_F(PrintLog, LogWithoutAReaderIsDropped) {
    close(reader);
    reader = -1;
    log_lines log = {"<INFO>lost", "<INFO>lost too"};
    print_log(log);
    EXPECT_TRUE(log.empty());
}
