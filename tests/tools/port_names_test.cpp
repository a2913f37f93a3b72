#include "example_router.h"
#include "port_names.h"

#include <gtest/gtest.h>

namespace {

using numbers = std::vector<int>;

vrdx::router_picture studio() {
    vrdx::router_picture picture = example_router(4, 12);
    picture.outputs[0].name = "Studio A monitor";
    picture.outputs[1].name = "Studio A";
    picture.outputs[2].name = "Studio B, left";
    picture.outputs[3].name = "7-9";
    picture.outputs[4].name = "";
    return picture;
}

numbers found(const std::string& text) {
    const vrdx::router_picture picture = studio();
    std::string error;
    const numbers all = find_ports(output_names_of(picture), text, &error);
    EXPECT_EQ(all.empty(), !error.empty()) << error;
    return all;
}

std::string refusal(const std::string& text) {
    const vrdx::router_picture picture = studio();
    std::string error;
    EXPECT_TRUE(find_ports(output_names_of(picture), text, &error).empty()) << text;
    return error;
}

} // namespace

TEST(PortNames, NumbersRangesAndListsAreNumbers) {
    EXPECT_EQ(found("3"), numbers{3});
    EXPECT_EQ(found("2-5"), (numbers{2, 3, 4, 5}));
    EXPECT_EQ(found("9,1-3,2,9"), (numbers{1, 2, 3, 9}));
    EXPECT_EQ(found("*").size(), 12U);
    EXPECT_EQ(found("*,3").size(), 12U);
}

TEST(PortNames, WholeNameComesBeforePartsOfNames) {
    EXPECT_EQ(found("Studio A"), numbers{2});
    EXPECT_EQ(found("studio a"), numbers{2});
    EXPECT_EQ(found("Studio A mon"), numbers{1});
    EXPECT_EQ(found("LEFT"), numbers{3});
}

TEST(PortNames, NameMayLookLikeAListOrARange) {
    EXPECT_EQ(found("Studio B, left"), numbers{3});
    EXPECT_EQ(found("7-9"), numbers{4});
    EXPECT_EQ(found("Studio A,left,11"), (numbers{2, 3, 11}));
}

TEST(PortNames, PartOfSeveralNamesNamesThem) {
    EXPECT_EQ(refusal("Studio"),
              "\"Studio\" fits 3 outputs: 1 \"Studio A monitor\", 2 \"Studio A\", 3 \"Studio B, left\"");
}

TEST(PortNames, WhatDoesNotExistIsTold) {
    EXPECT_EQ(refusal("13"), "output 13 does not exist: the router has 12 outputs");
    EXPECT_EQ(refusal("0"), "output 0 does not exist: the router has 12 outputs");
    EXPECT_EQ(refusal("99999999999999999999"),
              "output 99999999999999999999 does not exist: the router has 12 outputs");
    EXPECT_EQ(refusal("1,Gallery"), "no output is called \"Gallery\": the router has 12 outputs");
    EXPECT_EQ(refusal("5-2"), "the range 5-2 ends before it begins");
    EXPECT_EQ(refusal("10-13"), "output 13 does not exist: the router has 12 outputs");
    EXPECT_EQ(refusal("1,,2"), "there is no output of an empty name");
    EXPECT_EQ(refusal(""), "there is no output of an empty name");
}

TEST(PortNames, SourcesAreToldWithTheirNames) {
    const vrdx::router_picture picture = example_router(2, 1);
    EXPECT_EQ(sources_text(picture, {2, 2}), "2 \"Camera 2\"");
    EXPECT_EQ(sources_text(picture, {2, 0}), "audio 2 \"Camera 2\", video none");
    EXPECT_EQ(sources_text(picture, {-1, -1}), "unknown");
    EXPECT_EQ(sources_text(picture, {9, 9}), "9");
}

TEST(PortNames, NumbersOfAListAreJoinedToRanges) {
    EXPECT_EQ(number_list({1, 2, 3, 4, 7, 9, 10}), "1-4, 7, 9, 10");
    EXPECT_EQ(number_list({}), "");
}
