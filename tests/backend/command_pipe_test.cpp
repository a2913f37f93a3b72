#include "fresh_driver.h"
#include "wired_backend.h"

#include <algorithm>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CommandPipe : public fresh_driver {
protected:
    wired_backend backend_;
};

TEST_F(CommandPipe, MessageReachesTheBackendWhole) {
    queue_texts({"*COMMAND=report\n\n"});
    pending_to_buffer();
    EXPECT_EQ(backend_.read_stdin(), "*COMMAND=report\n\n");
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(CommandPipe, TenMessagesTakeTenPasses) {
    for (int i = 0; i < 10; ++i)
        queue_texts({"message " + std::to_string(i) + "\n\n"});
    for (int i = 0; i < 10; ++i) {
        pending_to_buffer();
        EXPECT_EQ(backend_.read_stdin(), "message " + std::to_string(i) + "\n\n");
        EXPECT_EQ(pending_line_count(), static_cast<std::size_t>(9 - i));
    }
}

TEST_F(CommandPipe, NothingQueuedWritesNothing) {
    pending_to_buffer();
    EXPECT_EQ(backend_.read_stdin(), "");
    EXPECT_GE(backend_stdin_fd, 0);
}

TEST_F(CommandPipe, ClosedDescriptorKeepsTheQueue) {
    close(backend_stdin_fd);
    backend_stdin_fd = -1;
    queue_texts({"a\n\n"});
    pending_to_buffer();
    EXPECT_THAT(pending_texts(), ElementsAre("a\n\n"));
    EXPECT_NE(backend_stdinbuf, nullptr);
}

TEST_F(CommandPipe, MissingBufferKeepsTheQueue) {
    backend_stdinbuf = sliding_window_v4_destroy(backend_stdinbuf);
    queue_texts({"a\n\n"});
    pending_to_buffer();
    EXPECT_THAT(pending_texts(), ElementsAre("a\n\n"));
    EXPECT_GE(backend_stdin_fd, 0);
}

TEST_F(CommandPipe, FullPipeIsNoError) {
    const std::string large(500000, 'x');
    queue_texts({large, "after\n\n"});
    pending_to_buffer();
    EXPECT_EQ(pending_line_count(), 1U);
    pending_to_buffer();
    EXPECT_EQ(pending_line_count(), 0U) << "the buffer accepts it all the same";
    EXPECT_GE(backend_stdin_fd, 0);
    EXPECT_EQ(backend_pid, pid_of_nobody);

    std::string received = backend_.read_stdin();
    EXPECT_LT(received.size(), large.size());
    for (int pass = 0; pass < 100 && backend_stdinbuf->start != backend_stdinbuf->end; ++pass) {
        pending_to_buffer();
        received += backend_.read_stdin();
    }
    EXPECT_EQ(received, large + "after\n\n");
}

TEST_F(CommandPipe, MessageThatDoesNotFitWaitsAndIsNeverSplit) {
    const std::string first(wired_backend::buffer_bytes, 'a');
    const std::string second(300000, 'b');
    queue_texts({first, second});
    pending_to_buffer();
    ASSERT_EQ(pending_line_count(), 1U) << "the largest message fits an empty buffer";

    std::string received;
    for (int pass = 0; pass < 100 && pending_line_count() > 0; ++pass) {
        pending_to_buffer();
        const auto held = static_cast<std::size_t>(backend_stdinbuf->end - backend_stdinbuf->start);
        EXPECT_EQ(std::count(backend_stdinbuf->start, backend_stdinbuf->end, 'b'),
                  pending_line_count() == 0 ? 300000 : 0);
        EXPECT_LE(held, wired_backend::buffer_bytes);
        received += backend_.read_stdin();
    }
    EXPECT_THAT(pending_texts(), IsEmpty());
    for (int pass = 0; pass < 100 && backend_stdinbuf->start != backend_stdinbuf->end; ++pass) {
        pending_to_buffer();
        received += backend_.read_stdin();
    }
    EXPECT_EQ(received, first + second);
}

TEST_F(CommandPipe, MessageLargerThanTheBufferBlocksTheQueueUntilTheStop) {
    queue_texts({std::string(wired_backend::buffer_bytes + 1, 'a'), "after\n\n"});
    for (int pass = 0; pass < 5; ++pass)
        pending_to_buffer();
    EXPECT_EQ(pending_line_count(), 2U);
    EXPECT_EQ(backend_.read_stdin(), "");
    EXPECT_GE(backend_stdin_fd, 0);
    stop_backend();
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(CommandPipe, ReaderThatIsGoneStopsTheBackendWithCommandsWaiting) {
    queue_texts({"a\n\n", "b\n\n", "c\n\n"});
    backend_.close_stdin();
    pending_to_buffer();
    EXPECT_EQ(backend_stdin_fd, -1);
    EXPECT_EQ(backend_stdout_fd, -1);
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_EQ(backend_pid, -1);
    EXPECT_FALSE(commands_reach_backend);
    EXPECT_EQ(backend_stdinbuf, nullptr);
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(last_notes, "Stopping backend driver");
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(CommandPipe, ReaderThatIsGoneIsNoticedWithNothingToSend) {
    backend_.close_stdin();
    pending_to_buffer();
    EXPECT_EQ(backend_stdin_fd, -1);
    EXPECT_EQ(backend_pid, -1);
}

TEST_F(CommandPipe, ReaderThatIsGoneIsToldToStandardInputOnly) {
    captured_stream standard_output(stdout);
    std::clearerr(stdin);
    backend_.close_stdin();
    pending_to_buffer();
    EXPECT_NE(std::ferror(stdin), 0) << "a stream for reading refuses the line";
    std::clearerr(stdin);
    EXPECT_EQ(standard_output.take(), "");
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(CommandPipe, ReaderThatGoesWhileBytesWaitStopsTheBackend) {
    queue_texts({std::string(500000, 'x')});
    pending_to_buffer();
    ASSERT_NE(backend_stdinbuf->start, backend_stdinbuf->end);
    backend_.close_stdin();
    pending_to_buffer();
    EXPECT_EQ(backend_pid, -1);
}

} // namespace
