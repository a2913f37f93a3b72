#include "gateway/access/write_rates.h"
#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

using gateway::write_rates;

namespace {

constexpr std::uint64_t begin_ms = 1000000;

void use_up(write_rates* rates, std::int64_t token, std::uint64_t now_ms = begin_ms) {
    for (std::uint64_t i = 0; i < gateway::writes_at_once_per_token; ++i)
        ASSERT_EQ(rates->ask(token, now_ms), 0U) << i;
}

} // namespace

TEST(WriteRates, SoManyAreDoneAtOnceAndTheNextInItsTime) {
    write_rates rates;
    use_up(&rates, 1);
    EXPECT_EQ(rates.ask(1, begin_ms), gateway::write_refill_ms);
    EXPECT_EQ(rates.ask(1, begin_ms + 10), gateway::write_refill_ms - 10) << "asking costs nothing";
    EXPECT_EQ(rates.ask(1, begin_ms + gateway::write_refill_ms), 0U);
    EXPECT_EQ(rates.ask(1, begin_ms + gateway::write_refill_ms), gateway::write_refill_ms);
}

TEST(WriteRates, OthersHaveTheirOwn) {
    write_rates rates;
    use_up(&rates, 1);
    EXPECT_EQ(rates.ask(2, begin_ms), 0U);
    EXPECT_EQ(rates.ask(0, begin_ms), 0U);
}

TEST(WriteRates, AfterAPauseAllIsAsBefore) {
    write_rates rates;
    use_up(&rates, 1);
    use_up(&rates, 1, begin_ms + gateway::writes_at_once_per_token * gateway::write_refill_ms);
    EXPECT_NE(rates.ask(1, begin_ms + gateway::writes_at_once_per_token * gateway::write_refill_ms), 0U);
}

TEST(WriteRates, TokensThatCameAndWentCostNothing) {
    write_rates rates;
    for (std::int64_t token = 1; token <= 100000; ++token)
        ASSERT_EQ(rates.ask(token, begin_ms + static_cast<std::uint64_t>(token)), 0U);
    EXPECT_LE(rates.size(), gateway::tokens_limit + 1);
}
