// How a link opens, fails, waits and comes back.
#include "link_fixture.h"

#include <limits>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t second = 1000000;

TEST_F(Link, WithoutATargetNothingIsTried) {
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::idle);
    EXPECT_EQ(link_due(link), never);
    EXPECT_EQ(link_wait(link).fd, -1);
    EXPECT_FALSE(send_to_router(link, "hello"));
    EXPECT_THAT(link.log, IsEmpty());
}

TEST_F(Link, EmptyHostIsNoTarget) {
    set_link_target_tcp(link, "", 9990, second);
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::idle);
}

TEST_F(Link, ConnectsToAnAddress) {
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60 * second);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    EXPECT_EQ(link.connections, 1U);
    EXPECT_TRUE(send_to_router(link, "hello"));
    flush_link(link, now);
    char bytes[16];
    EXPECT_EQ(read(peer, bytes, sizeof bytes), 5);
}

// A name may have several addresses ("::1" before "127.0.0.1"), of which only one is served.
TEST_F(Link, ConnectsToAName) {
    if (access("/etc/hosts", R_OK) != 0) {
        GTEST_SKIP() << "this machine has no name for itself";
    }
    const listening_port router;
    router.listen_now();
    set_link_target_tcp(link, "localhost", router.port(), 60 * second);
    wait_for_state(router_link_state::open);
    peer = router.accept_one();
    EXPECT_GE(peer, 0);
}

TEST_F(Link, NextAddressIsTriedWhenOneRefuses) {
    const listening_port closed;
    const listening_port router;
    router.listen_now();
    const auto lookup_of_both = begin_name_lookup("127.0.0.1", closed.port());
    lookup_of_both->addresses.push_back(begin_name_lookup("127.0.0.1", router.port())->addresses.at(0));
    tcp_opening opening;
    opening.timeout_us = 60 * second;
    opening.lookup = lookup_of_both;
    int fd = -1;
    opening_result result = opening_result::pending;
    while ((result = continue_tcp_opening(opening, now, &fd)) == opening_result::pending) {
        pollfd wait = tcp_opening_wait(opening);
        ASSERT_EQ(poll(&wait, 1, hang_ms), 1);
    }
    ASSERT_EQ(result, opening_result::open);
    peer = router.accept_one();
    EXPECT_GE(peer, 0);
    close(fd);
}

TEST_F(Link, ReadsLiteralAddressesOfBothKindsAtOnce) {
    EXPECT_TRUE(begin_name_lookup("127.0.0.1", 1)->done);
    const auto six = begin_name_lookup("::1", 1);
    EXPECT_TRUE(six->done);
    EXPECT_EQ(six->addresses.at(0).address.ss_family, AF_INET6);
}

TEST_F(Link, RefusedConnectionIsTriedAgainAfterTheWait) {
    const listening_port router;
    set_link_target_tcp(link, "127.0.0.1", router.port(), 60 * second);
    wait_for_state(router_link_state::waiting);
    EXPECT_EQ(link_due(link), now + second / 2);
    EXPECT_THAT(link.log, ElementsAre("<WARN>not connected to 127.0.0.1 port " +
                                      std::to_string(router.port()) + ": Connection refused"));
    router.listen_now();
    service_link(link, now + second / 2 - 1);
    EXPECT_EQ(link.state, router_link_state::waiting);
    now += second / 2;
    wait_for_state(router_link_state::open);
    EXPECT_EQ(link.log.size(), 1U);
}

TEST_F(Link, UnansweredAttemptEndsAtItsTimeout) {
    // Nobody accepts behind a full backlog: an attempt hangs there.
    const listening_port router;
    router.listen_now();
    std::vector<int> fillers;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(router.port());
    for (int n = 0; n < 16; ++n) {
        fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        EXPECT_NE(connect(fillers.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    set_link_target_tcp(link, "127.0.0.1", router.port(), 3 * second);
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::opening);
    EXPECT_EQ(link_due(link), now + 3 * second);
    now += 3 * second;
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::waiting);
    EXPECT_THAT(link.log, ElementsAre(HasSubstr("Connection timed out")));
    for (const int fd : fillers) {
        close(fd);
    }
}

TEST_F(Link, UnknownNameSaysSo) {
    set_link_target_tcp(link, "no such host.invalid", 1, 60 * second);
    wait_for_state(router_link_state::waiting);
    EXPECT_THAT(link.log, ElementsAre(HasSubstr("the name no such host.invalid has no address")));
}

TEST_F(Link, UnansweredLookUpEndsAtItsTimeout) {
    tcp_opening opening;
    opening.timeout_us = second;
    opening.lookup = std::make_shared<name_lookup>(); // never done
    opening.deadline = now + second;
    int fd = -1;
    EXPECT_EQ(continue_tcp_opening(opening, now, &fd), opening_result::pending);
    EXPECT_EQ(continue_tcp_opening(opening, now + second, &fd), opening_result::failed);
    EXPECT_THAT(opening.failure, HasSubstr("not answered for"));
}

TEST_F(Link, FailureIsSaidOncePerChangeNotPerTry) {
    device_there = false;
    use_device();
    for (int n = 0; n < 5; ++n, now += 20 * second) {
        service_link(link, now);
    }
    EXPECT_EQ(attempts, 5);
    EXPECT_THAT(link.log, ElementsAre("<WARN>not connected to /dev/router: no such device"));
}

TEST_F(Link, RouterThatFailsInEverNewWordsFillsNeitherLogNorMemory) {
    open_device();
    for (int n = 0; n < 100; ++n) {
        drop_link(link, "version " + std::to_string(n) + std::string(1000000, 'x'), now);
        now += 20 * second;
        service_link(link, now);
    }
    EXPECT_EQ(link.log.size(), 16U);
    EXPECT_EQ(link.said_failures.size(), 16U);
    EXPECT_LT(link.log.front().size(), 300U);
    link_is_sound(link, now);
    drop_link(link, "version 0", now);
    EXPECT_EQ(link.log.back(), "<WARN>lost the connection to /dev/router: version 0");
}

TEST_F(Link, EachReasonIsSaidOnceUntilConnectedAgain) {
    open_device();
    for (const char* reason : {"silent", "mad", "silent", "mad"}) {
        drop_link(link, reason, now);
        now += 20 * second;
        service_link(link, now);
    }
    link_is_sound(link, now);
    link_is_sound(link, now);
    drop_link(link, "silent", now);
    EXPECT_THAT(link.log,
                ElementsAre("<WARN>not connected to /dev/router: silent",
                            "<WARN>not connected to /dev/router: mad", "<INFO>connected to /dev/router",
                            "<WARN>lost the connection to /dev/router: silent"));
}

TEST_F(Link, WaitsGrowWhileTheConnectionDoesNotStay) {
    open_device();
    for (const std::uint64_t wait : {second / 2, second, 2 * second, 4 * second}) {
        link_is_sound(link, now);
        now += second;
        drop_link(link, "again", now);
        EXPECT_EQ(link_due(link), now + wait);
        now += wait;
        service_link(link, now);
        ASSERT_EQ(link.state, router_link_state::open);
    }
    link_is_sound(link, now);
    now += 10 * second;
    drop_link(link, "after a long time", now);
    EXPECT_EQ(link_due(link), now + second / 2);
}

TEST_F(Link, AnotherTargetIsTriedAtOnce) {
    device_there = false;
    use_device();
    service_link(link, now);
    EXPECT_EQ(link.state, router_link_state::waiting);
    device_there = true;
    open_device();
    EXPECT_EQ(attempts, 2);
    EXPECT_EQ(link.connections, 1U);
}
