// What the driver says on one of its standard streams while this object lives. Keep one per stream at a time.
#pragma once

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

class captured_stream {
public:
    explicit captured_stream(std::FILE* stream)
        : stream_(stream), saved_(fcntl(fileno(stream), F_DUPFD_CLOEXEC, 0)),
          file_(memfd_create("captured", MFD_CLOEXEC)) {
        std::fflush(stream_);
        if (saved_ < 0 || file_ < 0 || dup2(file_, fileno(stream_)) < 0)
            throw std::runtime_error("the stream cannot be captured");
    }
    ~captured_stream() {
        std::fflush(stream_);
        dup2(saved_, fileno(stream_));
        close(saved_);
        close(file_);
    }
    captured_stream(const captured_stream&) = delete;
    captured_stream& operator=(const captured_stream&) = delete;

    // What was said since the last call.
    std::string take() {
        std::fflush(stream_);
        std::string text;
        std::array<char, 65536> piece{};
        for (;;) {
            const ssize_t count = pread(file_, piece.data(), piece.size(), taken_);
            if (count <= 0)
                return text;
            text.append(piece.data(), static_cast<std::size_t>(count));
            taken_ += count;
        }
    }

private:
    std::FILE* stream_;
    int saved_;
    int file_;
    off_t taken_ = 0;
};
