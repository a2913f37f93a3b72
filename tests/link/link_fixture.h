// A link whose clock the test sets, and a peer: a listening port of this machine, or a socket pair as a
// device.
#pragma once

#include "router_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <unistd.h>

constexpr int hang_ms = 60000; // only a hang lasts so long

class listening_port {
public:
    listening_port() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    ~listening_port() {
        close(fd_);
    }
    listening_port(const listening_port&) = delete;
    listening_port& operator=(const listening_port&) = delete;

    // Until then, connections are refused; the port stays ours.
    void listen_now() const {
        EXPECT_EQ(listen(fd_, 5), 0);
    }

    [[nodiscard]] int accept_one() const {
        pollfd wait = {fd_, POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, hang_ms), 1);
        return accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    }

    [[nodiscard]] std::uint16_t port() const {
        return port_;
    }

private:
    int fd_;
    std::uint16_t port_ = 0;
};

class Link : public testing::Test {
protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        link.chance = [] { return 0.0; };
    }

    void TearDown() override {
        close_peer();
    }

    void close_peer() {
        if (peer >= 0) {
            close(peer);
        }
        peer = -1;
    }

    // Each attempt finds another fresh peer, as long as the device is there.
    void use_device() {
        set_link_target_device(link, "/dev/router", [this](std::string* failure) {
            ++attempts;
            if (!device_there) {
                *failure = "no such device";
                return -1;
            }
            close_peer();
            int ends[2];
            EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
            peer = ends[1];
            return ends[0];
        });
    }

    void open_device() {
        use_device();
        service_link(link, now);
        ASSERT_EQ(link.state, router_link_state::open);
    }

    void peer_says(std::string_view text) const {
        ASSERT_EQ(write(peer, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Services whenever the link's descriptor is ready, until `done`; the clock stands still.
    template<typename condition> void service_until(condition done) {
        while (!done()) {
            pollfd wait = link_wait(link);
            ASSERT_EQ(poll(&wait, 1, hang_ms), 1);
            service_link(link, now);
        }
    }

    // The first service opens.
    void wait_for_state(router_link_state state) {
        service_link(link, now);
        service_until([&] { return link.state == state; });
    }

    router_link link;
    std::uint64_t now = 1000000;
    int peer = -1;
    int attempts = 0;
    bool device_there = true;
};
