#include "name_value.h"

#include <gtest/gtest.h>

TEST(NameValue, EndsItsNameAtTheFirstEqualsSign) {
    std::string error;
    const auto pair = parse_name_value("a b=c=d", &error);
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->name, "a b");
    EXPECT_EQ(pair->value, "c=d");
}

TEST(NameValue, MayHaveAnEmptyValueAndLineFeeds) {
    std::string error;
    EXPECT_EQ(parse_name_value("a=", &error)->value, "");
    EXPECT_EQ(parse_name_value("a=b\nc", &error)->value, "b\nc");
}

TEST(NameValue, NeedsANameAndAnEqualsSign) {
    for (const char* text : {"", "a", "=", "=b"}) {
        std::string error;
        EXPECT_FALSE(parse_name_value(text, &error)) << text;
        EXPECT_NE(error.find("NAME=VALUE"), std::string::npos);
    }
}

TEST(NameValue, NameMayBeVeryLong) {
    std::string error;
    EXPECT_EQ(parse_name_value(std::string(100000, 'n') + "=v", &error)->name.size(), 100000U);
}

TEST(RouterProperty, BelongsToAnInputOrOutput) {
    std::string error;
    EXPECT_EQ(parse_router_property("output.3.name=Monitor 3", &error)->name, "output.3.name");
    EXPECT_EQ(parse_router_property("input.12.gain.left=1=2", &error)->value, "1=2");
    EXPECT_TRUE(parse_router_property("input.1.name=", &error));
}

TEST(RouterProperty, OtherNamesAreRefused) {
    for (const char* text : {"output.0.name=x", "output.name=x", "output.3=x", "output.3.=x",
                             "output.-1.name=x", "output.3x.name=x", "level.3.name=x", "Output.3.name=x",
                             "output.3.name", "=x", "output..name=x", "output.3.na\nme=x"}) {
        std::string error;
        EXPECT_FALSE(parse_router_property(text, &error)) << text;
        EXPECT_FALSE(error.empty());
    }
}
