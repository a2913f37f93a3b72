#include "gateway/http/request_target.h"

namespace gateway {
namespace {

using pairs = std::vector<std::pair<std::string, std::string>>;

request_target read(std::string_view text) {
    request_target target;
    EXPECT_EQ(read_target(text, &target), "") << text;
    return target;
}

TEST(RequestTarget, PathAndQueryAreDecoded) {
    const request_target target = read("/api/v1/routers/Studio%20%C3%84?router=a%26b&router=c+d&empty");
    EXPECT_EQ(target.path, "/api/v1/routers/Studio \xc3\x84");
    EXPECT_EQ(target.query, (pairs{{"router", "a&b"}, {"router", "c d"}, {"empty", ""}}));
    EXPECT_EQ(target.authority, "");
}

TEST(RequestTarget, RootAndEmptyPartsStayAsTheyAre) {
    EXPECT_EQ(read("/").path, "/");
    EXPECT_EQ(read("//a//").path, "//a//");
    EXPECT_EQ(read("/?").path, "/");
    EXPECT_EQ(read("/a+b").path, "/a+b");
}

TEST(RequestTarget, AbsoluteFormHasItsHost) {
    EXPECT_EQ(read("http://host:8400/healthz").authority, "host:8400");
    EXPECT_EQ(read("HTTPS://host/healthz").path, "/healthz");
    EXPECT_EQ(read("http://host?router=a").path, "/");
    EXPECT_EQ(read("http://host?router=a").query, (pairs{{"router", "a"}}));
    EXPECT_EQ(read("http://host").path, "/");
}

TEST(RequestTarget, OddOnesAreRefused) {
    for (const char* text :
         {"",       "*",     "host:80", "healthz", "ftp://host/", "http://", "http:///a", "http://user@host/",
          "/a#b",   "/a\\b", "/a b",    "/a\tb",   "/%",          "/%4",     "/%zz",      "/%00",
          "/a%0ab", "/%7f",  "/a%2fb",  "/a%2Fb",  "/a%5cb",      "/..",     "/a/../b",   "/%2e%2e/etc",
          "/.%2e/", "/./a",  "/%ff",    "/%c0%af", "/?a=%",       "/?a=%00", "/?a=%ff"}) {
        request_target target;
        EXPECT_NE(read_target(text, &target), "") << text;
    }
}

TEST(RequestTarget, EncodedTwiceIsDecodedOnce) {
    EXPECT_EQ(read("/%252e%252e").path, "/%2e%2e");
    EXPECT_EQ(read("/a%252fb").path, "/a%2fb");
}

} // namespace
} // namespace gateway
