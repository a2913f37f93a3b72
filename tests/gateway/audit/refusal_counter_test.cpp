#include "gateway/audit/refusal_counter.h"

#include "gateway/settings/limits.h"
#include "history_fixture.h"

#include <numeric>

using namespace gateway;

namespace {

constexpr std::int64_t minute_us = 60000000;
constexpr std::int64_t full_minute_us = noon_us / minute_us * minute_us;

history_entry login_of(const std::string& address, std::int64_t time_us = full_minute_us) {
    history_entry entry;
    entry.kind = entry_kind::login;
    entry.address = address;
    entry.result = "refused";
    entry.time_us = time_us;
    return entry;
}

std::int64_t sum_of(const std::vector<counted_entry>& counted) {
    return std::accumulate(
        counted.begin(), counted.end(), std::int64_t{0},
        [](std::int64_t sum, const counted_entry& each) { return sum + each.entry.count; });
}

} // namespace

TEST(RefusalCounter, CountsEqualOnesOfAMinuteTogether) {
    refusal_counter counter;
    counter.add(login_of("192.0.2.1"));
    counter.add(login_of("192.0.2.2"));
    counter.add(login_of("192.0.2.1", full_minute_us + minute_us - 1));
    const auto counted = counter.take();
    ASSERT_EQ(counted.size(), 2U);
    EXPECT_EQ(sum_of(counted), 3);
    for (const counted_entry& each : counted) {
        EXPECT_TRUE(each.is_login);
        EXPECT_EQ(each.entry.count, each.entry.address == "192.0.2.1" ? 2 : 1);
        EXPECT_EQ(each.entry.time_us, full_minute_us) << "of the first";
        EXPECT_EQ(each.entry.until_us,
                  each.entry.address == "192.0.2.1" ? full_minute_us + minute_us - 1 : full_minute_us);
    }
}

TEST(RefusalCounter, TellsWhatHasComeSinceTheLastCallUnderTheSameKey) {
    refusal_counter counter;
    counter.add(login_of("192.0.2.1"));
    const auto first = counter.take();
    EXPECT_TRUE(counter.take().empty());
    counter.add(login_of("192.0.2.1"));
    counter.add(login_of("192.0.2.1"));
    const auto second = counter.take();
    ASSERT_EQ(second.size(), 1U);
    EXPECT_EQ(second[0].key, first[0].key);
    EXPECT_EQ(second[0].entry.count, 2);
}

TEST(RefusalCounter, NextMinuteHasEntriesOfItsOwn) {
    refusal_counter counter;
    counter.add(login_of("192.0.2.1"));
    counter.add(login_of("192.0.2.1", full_minute_us + minute_us));
    counter.add(login_of("192.0.2.1", full_minute_us + 2 * minute_us));
    const auto counted = counter.take();
    ASSERT_EQ(counted.size(), 3U);
    EXPECT_NE(counted[0].key, counted[1].key);
    EXPECT_EQ(sum_of(counted), 3);
}

TEST(RefusalCounter, FloodOfAddressesIsAHandfulOfEntriesAndNoneIsUncounted) {
    refusal_counter counter;
    for (int number = 0; number < 10000; ++number)
        counter.add(login_of("address " + std::to_string(number)));
    const auto counted = counter.take();
    EXPECT_EQ(counted.size(), history_login_kinds_limit + 1);
    EXPECT_EQ(sum_of(counted), 10000);
}

TEST(RefusalCounter, FloodOfLoginsLeavesOtherRefusalsTheirRoom) {
    refusal_counter counter;
    for (int number = 0; number < 10000; ++number)
        counter.add(login_of("address " + std::to_string(number)));
    counter.take();
    history_entry refused = take_entry("studio", 5, 0);
    refused.time_us = full_minute_us;
    counter.add(refused);
    const auto counted = counter.take();
    ASSERT_EQ(counted.size(), 1U);
    EXPECT_FALSE(counted[0].is_login);
    EXPECT_EQ(counted[0].entry.output, 5);
}

TEST(RefusalCounter, TextsThatReadAlikeOneBehindTheOtherAreTwo) {
    refusal_counter counter;
    history_entry one = login_of("x");
    one.by = "a b";
    one.result = "c";
    history_entry other = login_of("x");
    other.by = "a";
    other.result = "b c";
    counter.add(one);
    counter.add(other);
    EXPECT_EQ(counter.take().size(), 2U);
}
