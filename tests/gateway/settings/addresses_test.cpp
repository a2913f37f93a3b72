#include "gateway/settings/addresses.h"

#include <gtest/gtest.h>

using namespace gateway;

TEST(ListenAddress, IsAnAddressWithAPort) {
    EXPECT_EQ(listen_address_of("127.0.0.1:8400"), (listen_address{"127.0.0.1", 8400}));
    EXPECT_EQ(listen_address_of("[::1]:8400"), (listen_address{"::1", 8400}));
    EXPECT_EQ(listen_address_of("[2001:DB8:0::7]:65535"), (listen_address{"2001:db8::7", 65535}));
    EXPECT_EQ(listen_address_of("0.0.0.0:0"), (listen_address{"0.0.0.0", 0}));
    EXPECT_EQ(listen_address_of("[::]:1"), (listen_address{"::", 1}));
}

TEST(ListenAddress, IsNothingElse) {
    for (const std::string text : {"",
                                   ":",
                                   "8400",
                                   ":8400",
                                   "127.0.0.1",
                                   "127.0.0.1:",
                                   "127.0.0.1:x",
                                   "127.0.0.1:65536",
                                   "127.0.0.1:-1",
                                   "127.0.0.1:+1",
                                   "127.0.0.1: 1",
                                   "localhost:8400",
                                   "::1:8400",
                                   "[127.0.0.1]:8400",
                                   "[::1]8400",
                                   "[]:1",
                                   "[::1:8400",
                                   "::1]:8400",
                                   "256.0.0.1:1",
                                   "127.1:1",
                                   "[fe80::1%eth0]:1",
                                   "127.0.0.1:99999999999999999999"})
        EXPECT_EQ(listen_address_of(text), std::nullopt) << text;
    EXPECT_EQ(listen_address_of(std::string("127.0.0.1\0:8400", 15)), std::nullopt);
}

TEST(ListenAddress, HasATextThatLeadsBackToIt) {
    for (const std::string text : {"127.0.0.1:8400", "[::1]:8400", "0.0.0.0:0"})
        EXPECT_EQ(address_text(listen_address_of(text).value()), text);
}

TEST(PlainAddress, IsWrittenInOneWay) {
    EXPECT_EQ(plain_address("192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(plain_address("2001:DB8:0:0::1"), "2001:db8::1");
    EXPECT_EQ(plain_address("::ffff:192.0.2.1"), "192.0.2.1");
    for (const std::string text : {"", "[::1]", "192.0.2", "192.0.2.1/24", "proxy", " 192.0.2.1"})
        EXPECT_EQ(plain_address(text), std::nullopt) << text;
}

TEST(Host, IsANameOrAnAddressWithoutAPort) {
    EXPECT_EQ(host_of("Router.Example"), "router.example");
    EXPECT_EQ(host_of("localhost"), "localhost");
    EXPECT_EQ(host_of("gateway-2_a"), "gateway-2_a");
    EXPECT_EQ(host_of("192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(host_of("[2001:DB8::1]"), "[2001:db8::1]");
    EXPECT_EQ(host_of("2001:db8::1"), "[2001:db8::1]");
    for (const std::string text : {"", "router.example:8400", "*.example", "http://router", "router/",
                                   ".example", "example.", "a..b", "-a", "[router]", "[192.0.2.1]", "127.1",
                                   "1", "192.0.2.256", "a b", "caf\xc3\xa9", "user@router", "0.0.0.0", "::"})
        EXPECT_EQ(host_of(text), std::nullopt) << text;
    EXPECT_EQ(host_of(std::string(253, 'a')), std::string(253, 'a'));
    EXPECT_EQ(host_of(std::string(254, 'a')), std::nullopt);
}

TEST(Loopback, IsWhatThisMachineAloneReaches) {
    for (const char* const address : {"127.0.0.1", "127.255.255.254", "::1"})
        EXPECT_TRUE(is_loopback(address)) << address;
    for (const char* const address : {"0.0.0.0", "::", "192.0.2.1", "12.7.0.1", "127::1", "::2", "fe80::1"})
        EXPECT_FALSE(is_loopback(address)) << address;
}
