// What a service manager listens on.
#pragma once

#include "wait_until.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A name that begins with "@" is an abstract one.
class notification_socket {
public:
    explicit notification_socket(const std::string& name)
        : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        address_.sun_family = AF_UNIX;
        name.copy(address_.sun_path, sizeof(address_.sun_path) - 1);
        if (name.front() == '@')
            address_.sun_path[0] = '\0';
        size_ = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address_), size_), 0);
    }
    ~notification_socket() {
        close(fd_);
    }
    notification_socket(const notification_socket&) = delete;
    notification_socket& operator=(const notification_socket&) = delete;

    // The next datagram; empty when none comes within `patience`.
    [[nodiscard]] std::string receive(std::chrono::milliseconds patience = test_patience) const {
        pollfd wait{fd_, POLLIN, 0};
        if (poll(&wait, 1, static_cast<int>(patience.count())) != 1)
            return "";
        std::array<char, 4096> bytes{};
        const ssize_t count = recv(fd_, bytes.data(), bytes.size(), 0);
        return count > 0 ? std::string(bytes.data(), static_cast<std::size_t>(count)) : "";
    }
    // Lets nobody be heard until somebody receives: the queue is full.
    void fill() const {
        for (int sent = 1; sent > 0;) { // as many senders as it takes: each has its own limit
            const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sent = 0;
            while (sendto(sender, "other", 5, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address_),
                          size_) == 5)
                ++sent;
            close(sender);
        }
    }
    // Receives up to the first datagram that begins with `start`, and how many of the others begin with
    // `counted`. Fails the test when no such datagram comes.
    [[nodiscard]] int receive_up_to(const std::string& start,
                                    const std::string& counted = "WATCHDOG=1") const {
        for (int count = 0;;) {
            const std::string datagram = receive();
            if (datagram.starts_with(start) || datagram.empty()) {
                EXPECT_FALSE(datagram.empty()) << start << " never came";
                return count;
            }
            count += datagram.starts_with(counted) ? 1 : 0;
        }
    }

private:
    int fd_;
    sockaddr_un address_{};
    socklen_t size_ = 0;
};
