#include "gateway/access/login_limits.h"
#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

using gateway::login_limits;

namespace {

constexpr std::uint64_t begin_ms = 1000000;

// Uses up what an address has at once.
void use_up(login_limits* limits, const std::string& address, std::uint64_t now_ms = begin_ms) {
    for (unsigned i = 0; i < gateway::wrong_logins_at_once; ++i)
        ASSERT_EQ(limits->wrong(address, now_ms), 0U) << i;
}

} // namespace

TEST(LoginLimits, TenWrongOnesAreAnsweredAtOnceAndTheNextWaits) {
    login_limits limits;
    use_up(&limits, "192.0.2.1");
    EXPECT_EQ(limits.wrong("192.0.2.1", begin_ms), 6000U);
    EXPECT_EQ(limits.wrong("192.0.2.1", begin_ms + 1500), 4500U);
    EXPECT_EQ(limits.wrong("192.0.2.1", begin_ms + 6000), 0U);
    EXPECT_EQ(limits.wrong("192.0.2.1", begin_ms + 6000), 6000U);
}

TEST(LoginLimits, AfterAMinuteOfPeaceAllIsAsBefore) {
    login_limits limits;
    use_up(&limits, "192.0.2.1");
    for (int i = 0; i < 1000; ++i)
        EXPECT_GT(limits.wrong("192.0.2.1", begin_ms), 0U);
    use_up(&limits, "192.0.2.1", begin_ms + 60000);
}

TEST(LoginLimits, OneAddressCostsNoOther) {
    login_limits limits;
    use_up(&limits, "192.0.2.1");
    EXPECT_EQ(limits.wrong("192.0.2.2", begin_ms), 0U);
}

TEST(LoginLimits, Ipv6CountsByItsFirst64Bits) {
    login_limits limits;
    for (unsigned i = 0; i < gateway::wrong_logins_at_once; ++i)
        ASSERT_EQ(limits.wrong("2001:db8:1:2::" + std::to_string(i), begin_ms), 0U);
    EXPECT_GT(limits.wrong("2001:db8:1:2:ffff::1", begin_ms), 0U);
    EXPECT_EQ(limits.wrong("2001:db8:1:3::1", begin_ms), 0U);
}

TEST(LoginLimits, AnIpv4AddressIsTheSameInBothWritings) {
    login_limits limits;
    use_up(&limits, "192.0.2.1");
    EXPECT_GT(limits.wrong("::ffff:192.0.2.1", begin_ms), 0U);
    EXPECT_EQ(limits.wrong("::ffff:192.0.2.2", begin_ms), 0U);
    EXPECT_EQ(limits.size(), 2U);
}

TEST(LoginLimits, TheTableDropsWhoWasWrongLongestAgo) {
    login_limits limits;
    use_up(&limits, "first");
    use_up(&limits, "second");
    for (std::size_t i = 2; i < gateway::login_addresses_limit; ++i)
        limits.wrong("other " + std::to_string(i), begin_ms);
    EXPECT_GT(limits.wrong("first", begin_ms), 0U);
    limits.wrong("one more", begin_ms);
    EXPECT_EQ(limits.size(), gateway::login_addresses_limit);
    EXPECT_GT(limits.wrong("first", begin_ms), 0U) << "it was wrong after the second";
    EXPECT_EQ(limits.wrong("second", begin_ms), 0U) << "it was dropped";
}
