// A descriptor that is closed when its owner goes.
#pragma once

#include <unistd.h>
#include <utility>

namespace gateway {

class owned_descriptor {
public:
    // Below 0: none.
    explicit owned_descriptor(int fd = -1) : fd_(fd) {}
    ~owned_descriptor() {
        if (fd_ >= 0)
            close(fd_);
    }
    owned_descriptor(owned_descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    owned_descriptor& operator=(owned_descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    owned_descriptor(const owned_descriptor&) = delete;
    owned_descriptor& operator=(const owned_descriptor&) = delete;

    int fd() const {
        return fd_;
    }

private:
    int fd_;
};

} // namespace gateway
