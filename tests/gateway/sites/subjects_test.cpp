#include "gateway/sites/subjects.h"

#include <gtest/gtest.h>

using namespace gateway;

TEST(Subjects, EscapeWhatTheBrokerWouldReadOtherwise) {
    EXPECT_EQ(escaped_name("Studio-1_b"), "Studio-1_b");
    EXPECT_EQ(escaped_name("a.b"), "a=2Eb");
    EXPECT_EQ(escaped_name("*>= "), "=2A=3E=3D=20");
    EXPECT_EQ(escaped_name("\xc3\xa4"), "=C3=A4");
}

TEST(Subjects, GiveEachNameBack) {
    std::string all;
    for (int byte = 1; byte < 256; byte++)
        all += static_cast<char>(byte);
    EXPECT_EQ(name_of_escaped(escaped_name(all)), all);
    EXPECT_EQ(escaped_name(all).find_first_of(".*> \r\n"), std::string::npos);
}

TEST(Subjects, KnowOneWayToWriteAName) {
    for (const char* const wrong : {"", "a.b", "a b", "=2", "=", "=2e", "=41", "a=4", "=G0", "*"})
        EXPECT_EQ(name_of_escaped(wrong), std::nullopt) << wrong;
}

TEST(Subjects, AreReadAsTheyAreWritten) {
    const auto take = router_address_of(router_subject("north", "a.b", "take", "control"));
    ASSERT_TRUE(take);
    EXPECT_EQ(take->site, "north");
    EXPECT_EQ(take->router, "a.b");
    EXPECT_EQ(take->what, "take");
    EXPECT_EQ(take->from, "control");
    const auto change = router_address_of(router_subject("north", "a", "evt"));
    ASSERT_TRUE(change);
    EXPECT_EQ(change->what, "evt");
    EXPECT_EQ(change->from, "");
    EXPECT_EQ(router_subject("north", "*", "name", "c"), "vr.north.*.name.c");
    EXPECT_EQ(alive_subject("north"), "vr.north.alive");
    EXPECT_EQ(far_name("north", "a:b"), "north:a:b");
}

TEST(Subjects, OfSomethingElseAreNoAddress) {
    for (const char* const wrong :
         {"", "vr", "vr.north.alive", "vr.north.a.take", "vr.north.a.take.b.c", "vr.north.a.evt.b",
          "vx.north.a.evt", "vr.north.a.b", "vr.north..evt", "vr.north.=.evt"})
        EXPECT_FALSE(router_address_of(wrong)) << wrong;
}
