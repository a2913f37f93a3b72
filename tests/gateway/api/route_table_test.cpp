#include "gateway/api/route_table.h"

#include <set>

namespace gateway {
namespace {

TEST(RouteTable, PathsAreFoundWithTheirParts) {
    const found_route found = find_route("POST", "/api/v1/routers/Studio A/outputs/12/lock");
    ASSERT_NE(found.row, nullptr);
    EXPECT_STREQ(found.row->operation, "lockOutput");
    EXPECT_EQ(found.parts, (std::vector<std::string>{"Studio A", "12"}));
}

TEST(RouteTable, HeadIsFoundAsGet) {
    EXPECT_STREQ(find_route("HEAD", "/api/v1/routers").row->operation, "listRouters");
    EXPECT_EQ(find_route("HEAD", "/api/v1/routers/a/takes").row, nullptr);
}

TEST(RouteTable, OtherMethodsOfAPathAreNamed) {
    const found_route found = find_route("PUT", "/api/v1/session");
    EXPECT_EQ(found.row, nullptr);
    EXPECT_EQ(found.allowed, "POST, GET, HEAD, DELETE");
}

TEST(RouteTable, WhatIsNoPathIsNotFound) {
    for (const char* path : {"/api", "/api/v1/routers/", "/api/v1/routers//takes", "//", "/healthz/",
                             "/Healthz", "/api/v1/routers/a/b/takes", "/api/v1/routers/a/outputs/1/lock/"})
        EXPECT_EQ(find_route("GET", path).allowed, "") << path;
}

TEST(RouteTable, OnlyWhatHasToBePublicIs) {
    std::set<std::string> open;
    for (const route& row : all_routes())
        if (row.least == role::none)
            open.insert(std::string(row.method) + " " + row.path);
    EXPECT_EQ(open, (std::set<std::string>{"GET /", "GET /routers", "GET /panel", "GET /matrix",
                                           "GET /history", "GET /presets", "GET /static/build",
                                           "GET /static/{build}/{file}", "GET /healthz", "GET /readyz",
                                           "POST /api/v1/session", "DELETE /api/v1/session"}));
}

TEST(RouteTable, EachRowIsWhole) {
    std::set<std::string> operations, places;
    for (const route& row : all_routes()) {
        EXPECT_TRUE(places.insert(std::string(row.method) + row.path).second) << row.path;
        EXPECT_NE(row.handle, nullptr) << row.path;
        EXPECT_EQ(row.request_schema[0] == '\0', row.body_limit == 0) << row.path;
        if (row.operation[0] == '\0')
            continue;
        EXPECT_TRUE(operations.insert(row.operation).second) << row.operation;
        EXPECT_FALSE(row.replies.empty()) << row.operation;
    }
}

} // namespace
} // namespace gateway
