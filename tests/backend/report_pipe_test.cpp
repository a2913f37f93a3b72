#include "fresh_driver.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using namespace std::string_literals;
using testing::IsEmpty;

namespace {

class ReportPipe : public fresh_driver {
protected:
    wired_backend backend_;
};

TEST_F(ReportPipe, ReportSetsTheRouter) {
    backend_.say_on_stdout("*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=2\n\n");
    read_backend_stdout();
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 2);
    EXPECT_EQ(trace(), "STDOUT: '*COMMAND=info'\nSTDOUT: '*TYPE=message'\nSTDOUT: 'inputs=4'\n"
                       "STDOUT: 'outputs=2'\nSTDOUT: ''\n");
}

TEST_F(ReportPipe, CarriageReturnBeforeALineFeedIsDropped) {
    backend_.say_on_stdout("a\r\nb\n");
    read_backend_stdout();
    EXPECT_EQ(trace(), "STDOUT: 'a'\nSTDOUT: 'b'\n");
}

TEST_F(ReportPipe, CarriageReturnsAreDroppedWhereverTheyOccur) {
    backend_.say_on_stdout("\r*COMMAND=in\rfo\r\n*TYPE=message\r\ninputs=1\r2\r\n\r\n");
    read_backend_stdout();
    EXPECT_EQ(input_count, 12);
}

TEST_F(ReportPipe, BlankLineIsTraced) {
    backend_.say_on_stdout("\n\r\n");
    read_backend_stdout();
    EXPECT_EQ(trace(), "STDOUT: ''\nSTDOUT: ''\n");
}

TEST_F(ReportPipe, ReportMayArriveByteByByte) {
    for (const char byte : "*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=2\n\n"s) {
        backend_.say_on_stdout(std::string(1, byte));
        read_backend_stdout();
    }
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 2);
}

TEST_F(ReportPipe, LineWithoutLineFeedWaitsForIt) {
    backend_.say_on_stdout("half");
    read_backend_stdout();
    read_backend_stdout();
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(stdout_line, "half");
    backend_.say_on_stdout("way\n");
    read_backend_stdout();
    EXPECT_EQ(trace(), "STDOUT: 'halfway'\n");
    EXPECT_EQ(stdout_line, "");
}

TEST_F(ReportPipe, BytesAreTracedAsTheyCome) {
    backend_.say_on_stdout("100%s \0\xff\n"s);
    read_backend_stdout();
    EXPECT_EQ(trace(), "STDOUT: '100%s \0\xff'\n"s);
}

TEST_F(ReportPipe, LineLongerThanTheBufferIsKeptWhole) {
    backend_.say_on_stdout("*COMMAND=info\n*TYPE=message\ninputs=1\n\n*COMMAND=inputs\n*TYPE=message\n");
    const std::string piece(50000, 'x');
    backend_.say_on_stdout("i0.name=");
    for (int i = 0; i < 50; ++i) {
        backend_.say_on_stdout(piece);
        read_backend_stdout();
    }
    backend_.say_on_stdout("\n\n");
    read_backend_stdout();
    ASSERT_EQ(input_names.size(), 1U);
    EXPECT_EQ(input_names[0], std::string(2500000, 'x'));
}

TEST_F(ReportPipe, ClosedStopsTheBackend) {
    captured_stream standard_output(stdout);
    queue_texts({"a\n\n"});
    backend_.close_stdout();
    read_backend_stdout();
    EXPECT_EQ(standard_output.take(), "Backend unexpectedly closed stdout\n");
    EXPECT_EQ(trace(), "Stopping backend\n");
    EXPECT_EQ(last_notes, "Stopping backend driver");
    EXPECT_EQ(backend_pid, -1);
    EXPECT_FALSE(commands_reach_backend);
    EXPECT_EQ(backend_stdin_fd, -1);
    EXPECT_EQ(backend_stdout_fd, -1);
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(ReportPipe, LastReportBeforeTheCloseIsApplied) {
    captured_stream standard_output(stdout);
    backend_.say_on_stdout("*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=2\n\nunfinished");
    backend_.close_stdout();
    read_backend_stdout();
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(backend_pid, pid_of_nobody) << "the close is noticed by a read that brings nothing";
    read_backend_stdout();
    EXPECT_EQ(backend_pid, -1);
    EXPECT_EQ(stdout_line, "");
}

TEST_F(ReportPipe, MissingBufferReadsNothing) {
    backend_stdoutbuf = sliding_window_v4_destroy(backend_stdoutbuf);
    backend_.say_on_stdout("x\n");
    read_backend_stdout();
    EXPECT_EQ(trace(), "");
    EXPECT_GE(backend_stdout_fd, 0);
}

} // namespace
