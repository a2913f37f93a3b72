#include "gateway/api/caller.h"

namespace gateway {
namespace {

request with(std::vector<std::pair<std::string, std::string>> headers,
             const std::string& peer = "192.0.2.1") {
    request asked;
    asked.headers = std::move(headers);
    asked.peer = peer;
    return asked;
}

TEST(Caller, HostHasToBeOneOfOurs) {
    settings now;
    now.hosts = {"localhost", "[::1]", "router.example.org"};
    for (const char* host :
         {"localhost", "localhost:8400", "LocalHost:80", "[::1]", "[::1]:8400", "Router.Example.org:443"})
        EXPECT_EQ(host_problem(now, with({{"host", host}})), "") << host;
    for (const char* host :
         {"", "evil.example.org", "localhost:", "localhost:80a", "localhost:123456", "localhost.evil.org",
          "evil@localhost", "localhost:80:80", "[::1", "[::1]x", ":80"})
        EXPECT_THAT(host_problem(now, with({{"host", host}})), testing::HasSubstr("router.example.org"))
            << host;
    EXPECT_NE(host_problem(now, with({})), "");
}

TEST(Caller, AddressIsThePeersUnlessItIsAKnownProxy) {
    settings now;
    const auto asked = with({{"x-forwarded-for", "198.51.100.7, 203.0.113.9"}}, "127.0.0.1");
    EXPECT_EQ(caller_address(now, asked), "127.0.0.1");
    now.proxies = {"127.0.0.1"};
    EXPECT_EQ(caller_address(now, asked), "203.0.113.9");
    now.proxies = {"127.0.0.1", "203.0.113.9"};
    EXPECT_EQ(caller_address(now, asked), "198.51.100.7");
    EXPECT_EQ(caller_address(now, with({}, "127.0.0.1")), "127.0.0.1");
    EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", "2001:db8::1"}}, "127.0.0.1")), "2001:db8::1");
    EXPECT_EQ(
        caller_address(
            now, with({{"x-forwarded-for", "192.0.2.99"}, {"x-forwarded-for", "203.0.113.10"}}, "127.0.0.1")),
        "203.0.113.10");
    EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", "198.51.100.7:4711"}}, "127.0.0.1")),
              "198.51.100.7");
    EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", "198.51.100.7, 203.0.113.9:80"}}, "127.0.0.1")),
              "198.51.100.7");
    now.proxies = {"::1", "2001:db8::9"};
    for (const char* written : {"[2001:db8::1]:4711", "[2001:db8::1]", "2001:DB8:0:0::1", "2001:db8::1"})
        EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", written}}, "::1")), "2001:db8::1") << written;
    EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", "192.0.2.7, 2001:DB8::0:9"}}, "::1")),
              "192.0.2.7");
    EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", "::ffff:192.0.2.7"}}, "::1")), "192.0.2.7");
    now.proxies = {"127.0.0.1", "203.0.113.9"};
    for (const char* nonsense :
         {"[2001:db8::1", "2001:db8::1]:80", "192.0.2.1:port", "[192.0.2.1]x", "unknown", "", "1.2.3.4.5",
          "198.51.100.7, "
          "x"})
        EXPECT_EQ(caller_address(now, with({{"x-forwarded-for", nonsense}}, "127.0.0.1")), "127.0.0.1");
}

TEST(Caller, OwnOriginOfAnAddressOfIPv6StandsInBrackets) {
    settings now;
    EXPECT_EQ(own_origin(now, with({{"host", "[::1]:8400"}}, "::1")), "http://[::1]:8400");
}

TEST(Caller, OwnOriginIsWhatTheBrowserSees) {
    settings now;
    auto asked = with({{"host", "Localhost:8400"}, {"x-forwarded-proto", "https"}}, "127.0.0.1");
    EXPECT_EQ(own_origin(now, asked), "http://localhost:8400");
    now.proxies = {"127.0.0.1"};
    EXPECT_EQ(own_origin(now, asked), "https://localhost:8400");
    now.proxies.clear();
    asked.over_tls = true;
    EXPECT_EQ(own_origin(now, asked), "https://localhost:8400");
}

TEST(Caller, SessionIsFoundAmongOtherCookies) {
    EXPECT_EQ(session_text(with({{"cookie", "a=b; vrdx_session=text ;c=d"}})), "text");
    EXPECT_EQ(session_text(with({{"cookie", "a=b"}, {"cookie", "vrdx_session=other"}})), "other");
    for (const char* cookie :
         {"", "vrdx_session", "xvrdx_session=a", "a=vrdx_session=b", "vrdx_session=; a=b"})
        EXPECT_EQ(session_text(with({{"cookie", cookie}})), "") << cookie;
}

} // namespace
} // namespace gateway
