#include "monotonic_us.h"

#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

enum class clock_state { real, fixed, unavailable };

clock_state state = clock_state::real;
timespec fixed_time{};

class MonotonicClock : public testing::Test {
protected:
    void TearDown() override {
        state = clock_state::real;
    }
};

std::uint64_t read_at(time_t seconds, long nanoseconds) {
    fixed_time = {.tv_sec = seconds, .tv_nsec = nanoseconds};
    state = clock_state::fixed;
    return monotonic_us();
}

} // namespace

// Every reading of a clock in this program ends here.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock == CLOCK_MONOTONIC && state == clock_state::unavailable)
        return -1;
    if (clock == CLOCK_MONOTONIC && state == clock_state::fixed) {
        *time = fixed_time;
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

namespace {

TEST_F(MonotonicClock, CountsWholeMicroseconds) {
    EXPECT_EQ(read_at(0, 0), 0U);
    EXPECT_EQ(read_at(0, 999), 0U);
    EXPECT_EQ(read_at(0, 1000), 1U);
    EXPECT_EQ(read_at(3, 999999999), 3999999U);
    EXPECT_EQ(read_at(4294967296, 5000), 4294967296000005U);
}

TEST_F(MonotonicClock, NeverGoesBack) {
    std::uint64_t last = monotonic_us();
    for (int i = 0; i < 1000; i++) {
        const std::uint64_t now = monotonic_us();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST_F(MonotonicClock, StandsAtTheEndOfTimeWhenItCannotBeRead) {
    state = clock_state::unavailable;
    EXPECT_EQ(monotonic_us(), 18446744073709551U);
}

} // namespace
