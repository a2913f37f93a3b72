#include "gateway_address.h"

#include <gtest/gtest.h>

namespace {

gateway_address read(const std::string& url) {
    gateway_address address;
    std::string problem;
    EXPECT_TRUE(read_gateway_url(url, &address, &problem)) << url << ": " << problem;
    return address;
}

TEST(GatewayAddress, HasSchemeHostPortAndPath) {
    const gateway_address address = read("https://routers.example:8443/studio/");
    EXPECT_TRUE(address.tls);
    EXPECT_EQ(address.host, "routers.example");
    EXPECT_EQ(address.port, "8443");
    EXPECT_EQ(address.path, "/studio");
    EXPECT_EQ(host_header(address), "routers.example:8443");
}

TEST(GatewayAddress, WithoutAPortHasThatOfItsScheme) {
    EXPECT_EQ(read("http://a").port, "80");
    EXPECT_EQ(read("https://a/").port, "443");
    EXPECT_EQ(host_header(read("http://a:80")), "a");
    EXPECT_EQ(host_header(read("https://a:80")), "a:80");
}

TEST(GatewayAddress, KeepsAddressesOfVersionSixInBrackets) {
    const gateway_address address = read("http://[::1]:8400");
    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.port, "8400");
    EXPECT_EQ(host_header(address), "[::1]:8400");
    EXPECT_EQ(host_header(read("http://[::1]")), "[::1]");
}

TEST(GatewayAddress, WhatIsNoneIsToldWithWhatIsPossible) {
    for (const char* url :
         {"", "routers.example", "ftp://a", "http://", "http://:80", "http://a:", "http://a:0",
          "http://a:65536", "http://a:1x", "http://[::1", "http://[::1]x", "http://a b", "http://user@a",
          "http://a/?x=1", "http://a/#x", "http://a\r\nX: y", "HTTP://a"}) {
        gateway_address address;
        std::string problem;
        EXPECT_FALSE(read_gateway_url(url, &address, &problem)) << url;
        EXPECT_EQ(problem, "a gateway is given as http://HOST:PORT or https://HOST:PORT") << url;
    }
}

} // namespace
