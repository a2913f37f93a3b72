#include "sliding_window_fixture.h"

#include <cerrno>
#include <csignal>
#include <ctime>

namespace {

TEST_F(SlidingWindow, WritesWhatIsHeld) {
    append("command=report\n\n");
    EXPECT_EQ(empty(), 16);
    EXPECT_EQ(held(), "");
    EXPECT_EQ(drain(), "command=report\n\n");
    EXPECT_EQ(empty(), 0) << "nothing to send, the reader is there";
}

TEST_F(SlidingWindow, KeepsWhatAFullPipeDoesNotTakeAndSendsItLater) {
    std::string message;
    while (message.size() < 300000)
        message += std::to_string(message.size()) + ',';
    append(message);

    const long first = empty();
    ASSERT_GT(first, 0);
    ASSERT_LT(first, static_cast<long>(message.size()));
    EXPECT_EQ(held(), message.substr(static_cast<std::size_t>(first)));
    EXPECT_EQ(empty(), 0) << "a full pipe is no error";

    std::string received;
    while (!held().empty()) {
        received += drain();
        ASSERT_GE(empty(), 0);
        sliding_window_v4_lazy_flush(buffer_);
    }
    received += drain();
    EXPECT_EQ(received, message);
}

// The driver leaves SIGPIPE as it finds it, which is deadly by default.
class ReaderGone : public SlidingWindow {
protected:
    void SetUp() override {
        SlidingWindow::SetUp();
        old_handler_ = std::signal(SIGPIPE, SIG_DFL);
        ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &mask_before_), 0);
        ASSERT_EQ(sigismember(&mask_before_, SIGPIPE), 0);
    }
    void TearDown() override {
        sigset_t mask;
        ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &mask), 0);
        for (int number = 1; number < SIGRTMIN; number++)
            EXPECT_EQ(sigismember(&mask, number), sigismember(&mask_before_, number)) << "signal " << number;
        EXPECT_FALSE(is_sigpipe_pending());
        EXPECT_EQ(std::signal(SIGPIPE, old_handler_), SIG_DFL) << "the disposition was changed";
        SlidingWindow::TearDown();
    }

    static bool is_sigpipe_pending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

private:
    sigset_t mask_before_{};
    void (*old_handler_)(int) = nullptr;
};

TEST_F(ReaderGone, IsNoticedWithNothingToSend) {
    EXPECT_EQ(empty(), 0);
    close_reader();
    EXPECT_LT(empty(), 0);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(ReaderGone, DropsWhatCanNoLongerBeDelivered) {
    append("route output\n");
    close_reader();
    EXPECT_LT(empty(), 0);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(held(), "");
    EXPECT_LT(empty(), 0) << "and stays gone";
}

TEST_F(ReaderGone, IsNoticedWhenThePipeWasFull) {
    append(std::string(300000, 'x'));
    EXPECT_GT(empty(), 0);
    EXPECT_EQ(empty(), 0);
    close_reader();
    EXPECT_LT(empty(), 0);
    EXPECT_EQ(held(), "");
}

TEST_F(ReaderGone, LeavesASigpipeOfSomeoneElsePending) {
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    sigset_t mask;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &sigpipe, &mask), 0);
    ASSERT_EQ(raise(SIGPIPE), 0);

    append("x");
    close_reader();
    EXPECT_LT(empty(), 0);
    EXPECT_TRUE(is_sigpipe_pending());

    const timespec at_once{};
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &at_once), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

TEST_F(SlidingWindow, DropsWhatADescriptorRefuses) {
    append("x");
    EXPECT_LT(sliding_window_v4_empty_to_fd(buffer_, reader(), 0), 0) << "not open for writing";
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(held(), "");
}

} // namespace
