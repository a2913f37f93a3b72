// What goes over an open link, and its bounds.
#include "link_fixture.h"

#include <cerrno>
#include <netinet/tcp.h>

using testing::Contains;
using testing::HasSubstr;

TEST_F(Link, PassesOnWhatTheRouterSays) {
    open_device();
    EXPECT_EQ(link.last_received, now);
    peer_says("one\n");
    service_link(link, ++now);
    peer_says("two\n");
    service_link(link, ++now);
    EXPECT_EQ(link.received, "one\ntwo\n");
    EXPECT_EQ(link.last_received, now);
    service_link(link, ++now);
    EXPECT_EQ(link.last_received, now - 1);
}

TEST_F(Link, EndOfTheOtherSideIsALoss) {
    open_device();
    link_is_sound(link, now);
    close_peer();
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::waiting);
    EXPECT_THAT(link.log, Contains("<WARN>lost the connection to /dev/router: the router closed it"));
}

// A router that sends its answer in two pieces may hold the second one back until then.
TEST_F(Link, WhatIsAwaitedIsAcknowledgedAtOnce) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    const auto quick = [&] {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(link.fd, IPPROTO_TCP, TCP_QUICKACK, &value, &size), 0);
        return value;
    };
    const int off = 0;
    ASSERT_EQ(setsockopt(link.fd, IPPROTO_TCP, TCP_QUICKACK, &off, sizeof off), 0);
    service_link(link, now);
    EXPECT_EQ(quick(), 0);
    link.acknowledges_at_once = true;
    service_link(link, now);
    EXPECT_EQ(quick(), 1);
}

TEST_F(Link, ResetInTheMiddleIsALossAndNothingOfItIsKept) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    peer_says("half a bl");
    service_until([&] { return !link.received.empty(); });
    const linger at_once = {1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close_peer();
    wait_for_state(router_link_state::waiting);
    EXPECT_EQ(link.received, "");
    EXPECT_THAT(link.log, Contains(HasSubstr("Connection reset by peer")));
}

TEST_F(Link, WhatNeverEndsIsDroppedBeyondOneMebibyte) {
    open_device();
    const std::string piece(32768, 'x');
    std::size_t largest = 0;
    for (int n = 0; n < 100 && link.state == router_link_state::open; ++n) {
        peer_says(piece);
        service_link(link, now);
        largest = std::max(largest, link.received.size());
    }
    EXPECT_EQ(link.state, router_link_state::waiting);
    EXPECT_LE(largest, most_link_received + 65536);
    EXPECT_EQ(link.received, "");
    EXPECT_THAT(link.log, Contains(HasSubstr("sends what never ends")));
}

TEST_F(Link, WhatIsConsumedDoesNotCount) {
    open_device();
    const std::string piece(32768, 'x');
    for (int n = 0; n < 100; ++n) {
        peer_says(piece);
        service_link(link, now);
        link.received.clear();
    }
    EXPECT_EQ(link.state, router_link_state::open);
}

TEST_F(Link, QueueIsBounded) {
    open_device();
    EXPECT_TRUE(send_to_router(link, std::string(most_link_unsent, 'x')));
    EXPECT_FALSE(send_to_router(link, "y"));
    EXPECT_EQ(link.unsent.size(), most_link_unsent);
}

TEST_F(Link, WritesInPiecesWhatTheRouterTakesSlowly) {
    open_device();
    const std::string text(most_link_unsent, 'x');
    ASSERT_TRUE(send_to_router(link, text));
    std::size_t arrived = 0;
    char bytes[8192];
    while (arrived < text.size()) {
        flush_link(link, now);
        EXPECT_EQ((link_wait(link).events & POLLOUT) != 0, !link.unsent.empty());
        const ssize_t count = read(peer, bytes, sizeof bytes);
        ASSERT_GT(count, 0);
        arrived += static_cast<std::size_t>(count);
    }
    EXPECT_EQ(link.unsent, "");
}

TEST_F(Link, UnsentTextDiesWithItsConnection) {
    open_device();
    ASSERT_TRUE(send_to_router(link, "an old take"));
    drop_link(link, "silent", now);
    now += 20000000;
    service_link(link, now);
    ASSERT_EQ(link.state, router_link_state::open);
    char byte = 0;
    EXPECT_EQ(read(peer, &byte, 1), -1); // nothing came
    EXPECT_EQ(link.connections, 2U);
}

namespace {

// Reads to the end of the connection: how many bytes came, and in *error how it ended, 0 for an orderly end.
std::size_t read_to_the_end(int fd, int* error) {
    std::size_t total = 0;
    char bytes[8192];
    ssize_t count = 0;
    while ((count = read(fd, bytes, sizeof bytes)) > 0) {
        total += static_cast<std::size_t>(count);
    }
    *error = count < 0 ? errno : 0;
    return total;
}

} // namespace

TEST_F(Link, WhatTheKernelHasNotDeliveredDiesWithItsConnection) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    const std::string text(most_link_unsent, 'x');
    std::size_t written = 0;
    while (link.unsent.empty()) { // until the peer, which does not read, has filled the kernel's buffers
        ASSERT_TRUE(send_to_router(link, text));
        flush_link(link, now);
        written += text.size() - link.unsent.size();
    }
    drop_link(link, "silent", now);
    int error = 0;
    EXPECT_LT(read_to_the_end(peer, &error), written);
    EXPECT_EQ(error, ECONNRESET);
}

TEST_F(Link, AnotherTargetResetsTheOldConnection) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    set_link_target_tcp(link, "", 0, 0);
    int error = 0;
    read_to_the_end(peer, &error);
    EXPECT_EQ(error, ECONNRESET);
}

TEST_F(Link, WhatIsNotAcknowledgedForTwoSecondsBreaksTheConnection) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(router_link_state::open);
    unsigned int longest_ms = 0;
    socklen_t size = sizeof longest_ms;
    ASSERT_EQ(getsockopt(link.fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &longest_ms, &size), 0);
    EXPECT_EQ(longest_ms, 2000U);
}
