// A buffer at one end of a pipe, or the other, with the test at the opposite end.
#pragma once

#include "sliding_window_v4.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <unistd.h>

class SlidingWindow : public testing::Test {
protected:
    static constexpr std::size_t capacity = 1048576;

    void SetUp() override {
        ASSERT_EQ(pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK), 0);
        buffer_ = sliding_window_v4_create_buffer(capacity);
        ASSERT_NE(buffer_, nullptr);
    }
    void TearDown() override {
        EXPECT_TRUE(sliding_window_v4_is_sane(buffer_));
        EXPECT_EQ(sliding_window_v4_destroy(buffer_), nullptr);
        close_reader();
        close_writer();
    }

    [[nodiscard]] int reader() const {
        return pipe_[0];
    }
    [[nodiscard]] int writer() const {
        return pipe_[1];
    }
    void close_reader() {
        close_end(0);
    }
    void close_writer() {
        close_end(1);
    }
    void type(std::string_view text) const {
        ASSERT_EQ(write(writer(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void append(std::string_view text) const {
        ASSERT_LE(text.size(), room());
        buffer_->end = std::copy(text.begin(), text.end(), buffer_->end);
    }
    [[nodiscard]] std::string held() const {
        return {buffer_->start, buffer_->end};
    }
    [[nodiscard]] std::size_t room() const {
        return static_cast<std::size_t>(buffer_->fence - buffer_->end);
    }
    [[nodiscard]] long refill() const {
        return sliding_window_v4_refill_from_fd(buffer_, reader(), 0);
    }
    [[nodiscard]] long empty() const {
        return sliding_window_v4_empty_to_fd(buffer_, writer(), 0);
    }
    // Reads what the pipe offers now.
    [[nodiscard]] std::string drain() const {
        std::string text;
        std::array<char, 4096> block{};
        for (ssize_t count = 1; count > 0;) {
            count = read(reader(), block.data(), block.size());
            if (count > 0)
                text.append(block.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    sliding_window_v4* buffer_ = nullptr;

private:
    void close_end(std::size_t end) {
        if (pipe_.at(end) >= 0)
            close(pipe_.at(end));
        pipe_.at(end) = -1;
    }

    std::array<int, 2> pipe_{-1, -1};
};
