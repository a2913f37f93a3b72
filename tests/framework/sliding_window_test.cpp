#include "sliding_window_fixture.h"

#include <cerrno>
#include <cstdint>

namespace {

TEST_F(SlidingWindow, IsCreatedEmptyWithItsWholeCapacityFree) {
    EXPECT_EQ(buffer_->start, buffer_->end);
    EXPECT_EQ(room(), capacity);
}

TEST(SlidingWindowCreation, FailsForNoCapacityAndForMoreThanThereIs) {
    EXPECT_EQ(sliding_window_v4_create_buffer(0), nullptr);
    EXPECT_EQ(sliding_window_v4_create_buffer(SIZE_MAX), nullptr);
    EXPECT_EQ(sliding_window_v4_destroy(nullptr), nullptr);
}

TEST_F(SlidingWindow, TellsPositionsOutOfOrder) {
    EXPECT_TRUE(sliding_window_v4_is_sane(buffer_));
    const sliding_window_v4 good = *buffer_;
    buffer_->start = good.base + 1;
    EXPECT_FALSE(sliding_window_v4_is_sane(buffer_)) << "start beyond end";
    *buffer_ = good;
    buffer_->end = good.fence + 1;
    EXPECT_FALSE(sliding_window_v4_is_sane(buffer_)) << "end beyond fence";
    *buffer_ = good;
    buffer_->start = good.base - 1;
    EXPECT_FALSE(sliding_window_v4_is_sane(buffer_)) << "start before base";
    *buffer_ = good;
}

// --- refill ------------------------------------------------------------------------------------------------

TEST_F(SlidingWindow, ReadsWhatIsThereAndStopsWhereReadingWouldBlock) {
    type("outputs\n");
    EXPECT_EQ(refill(), 8);
    EXPECT_EQ(held(), "outputs\n");
    EXPECT_EQ(refill(), 0);
    EXPECT_EQ(held(), "outputs\n");
}

TEST_F(SlidingWindow, ReadsTheLastBytesBeforeItTellsTheEnd) {
    type("bye\n");
    close_writer();
    EXPECT_EQ(refill(), 4);
    EXPECT_EQ(held(), "bye\n");
    EXPECT_LT(refill(), 0);
    EXPECT_EQ(held(), "bye\n") << "the end of file drops nothing";
}

TEST_F(SlidingWindow, TellsTheEndAtOnceWhenNothingWasWritten) {
    close_writer();
    EXPECT_LT(refill(), 0);
}

TEST_F(SlidingWindow, ReadsNoMoreThanFits) {
    buffer_->end = buffer_->fence - 3;
    type("abcdef");
    EXPECT_EQ(refill(), 3);
    EXPECT_EQ(room(), 0U);
    EXPECT_EQ(refill(), 0) << "full is not the end";
    buffer_->start = buffer_->end;
    sliding_window_v4_lazy_flush(buffer_);
    EXPECT_EQ(refill(), 3);
    EXPECT_EQ(held(), "def");
}

TEST_F(SlidingWindow, TellsTheEndOnlyOnceThereIsRoomToLookForMore) {
    buffer_->end = buffer_->fence;
    close_writer();
    EXPECT_EQ(refill(), 0);
    buffer_->start = buffer_->end;
    sliding_window_v4_lazy_flush(buffer_);
    EXPECT_LT(refill(), 0);
}

TEST_F(SlidingWindow, ReadsMoreThanOneReadDelivers) {
    const std::string line(65536, 'x');
    type(line);
    EXPECT_EQ(refill(), 65536);
    type(line);
    EXPECT_EQ(refill(), 65536);
    EXPECT_EQ(held(), line + line);
}

TEST_F(SlidingWindow, LeavesAFloodsRestForTheNextRefill) {
    constexpr int pipe_bytes = 2 * sliding_window_refill_bytes;
    ASSERT_EQ(fcntl(writer(), F_SETPIPE_SZ, pipe_bytes), pipe_bytes);
    type(std::string(pipe_bytes, 'x'));
    EXPECT_EQ(refill(), pipe_bytes / 2);
    EXPECT_EQ(refill(), pipe_bytes / 2);
    EXPECT_EQ(refill(), 0);
}

TEST_F(SlidingWindow, TellsThatADescriptorIsNotOpen) {
    constexpr int never_open = 1 << 30;
    EXPECT_LT(sliding_window_v4_refill_from_fd(buffer_, never_open, 0), 0);
    EXPECT_EQ(errno, EBADF);
    EXPECT_LT(sliding_window_v4_empty_to_fd(buffer_, never_open, 0), 0);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SlidingWindow, KnowsNoFlags) {
    type("abc");
    append("def");
    EXPECT_LT(sliding_window_v4_refill_from_fd(buffer_, reader(), 1), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_LT(sliding_window_v4_empty_to_fd(buffer_, writer(), 1), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(held(), "def");
}

// --- flush -------------------------------------------------------------------------------------------------

TEST_F(SlidingWindow, GivesBackExactlyTheRoomOfConsumedBytes) {
    append("consumed and kept");
    buffer_->start += 9;
    EXPECT_EQ(room(), capacity - 17);
    sliding_window_v4_lazy_flush(buffer_);
    EXPECT_EQ(held(), "and kept");
    EXPECT_EQ(room(), capacity - 8);
}

TEST_F(SlidingWindow, KeepsBytesThatOverlapTheRoomTheyMoveTo) {
    std::string digits;
    for (int i = 0; i < 1000; i++)
        digits += std::to_string(i);
    append(digits);
    buffer_->start++;
    sliding_window_v4_lazy_flush(buffer_);
    EXPECT_EQ(held(), digits.substr(1));
}

TEST_F(SlidingWindow, HasAllItsRoomAgainWhenAllIsConsumed) {
    append(std::string(capacity, 'x'));
    EXPECT_EQ(room(), 0U);
    buffer_->start = buffer_->end;
    sliding_window_v4_lazy_flush(buffer_);
    EXPECT_EQ(room(), capacity);
    append(std::string(capacity, 'y'));
    EXPECT_EQ(room(), 0U);
}

} // namespace
