// What goes over an open link, and its bounds.
#include "link_fixture.h"

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
    EXPECT_EQ(link.state, link_state::waiting);
    EXPECT_THAT(link.log, Contains("<WARN>lost the connection to /dev/router: the router closed it"));
}

TEST_F(Link, ResetInTheMiddleIsALossAndNothingOfItIsKept) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60000000);
    wait_for_state(link_state::open);
    peer = router.accept_one();
    peer_says("half a bl");
    service_until([&] { return !link.received.empty(); });
    const linger at_once = {1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close_peer();
    wait_for_state(link_state::waiting);
    EXPECT_EQ(link.received, "");
    EXPECT_THAT(link.log, Contains(HasSubstr("Connection reset by peer")));
}

TEST_F(Link, WhatNeverEndsIsDroppedBeyondOneMebibyte) {
    open_device();
    const std::string piece(32 * 1024, 'x');
    std::size_t largest = 0;
    for (int n = 0; n < 100 && link.state == link_state::open; ++n) {
        peer_says(piece);
        service_link(link, now);
        largest = std::max(largest, link.received.size());
    }
    EXPECT_EQ(link.state, link_state::waiting);
    EXPECT_LE(largest, most_link_received + 64 * 1024);
    EXPECT_EQ(link.received, "");
    EXPECT_THAT(link.log, Contains(HasSubstr("sends what never ends")));
}

TEST_F(Link, WhatIsConsumedDoesNotCount) {
    open_device();
    const std::string piece(32 * 1024, 'x');
    for (int n = 0; n < 100; ++n) {
        peer_says(piece);
        service_link(link, now);
        link.received.clear();
    }
    EXPECT_EQ(link.state, link_state::open);
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
    ASSERT_EQ(link.state, link_state::open);
    char byte = 0;
    EXPECT_EQ(read(peer, &byte, 1), -1); // nothing came
    EXPECT_EQ(link.connections, 2U);
}
