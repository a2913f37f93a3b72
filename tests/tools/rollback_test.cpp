#include "change.h"
#include "example_router.h"
#include "rollback.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t period = 200000;
constexpr crosspoint one{1, 1};
constexpr crosspoint nine{9, 9};

// A driver that is looked at five times a second, beginning at 10 s; each look takes a millisecond.
struct looks {
    rollback_tracker tracker;
    std::uint64_t now = 10000000;

    std::vector<rollback> at(std::uint64_t asked, const std::optional<router_status>& shown) {
        now = asked;
        return rollbacks_seen(&tracker, shown, {asked, asked + 1000});
    }

    // What `times` further looks see of a router whose outputs all show `source`.
    std::size_t see(crosspoint source, int times = 1) {
        std::size_t seen = 0;
        for (int i = 0; i < times; ++i)
            seen += at(now + period, example_router(16, 2, source)).size();
        return seen;
    }
};

} // namespace

TEST(Rollback, SourceThatIsBackAfterASecondIsARollback) {
    looks driver;
    EXPECT_EQ(driver.see(one), 0U);
    EXPECT_EQ(driver.see(nine, 5), 0U);
    const auto seen = driver.at(driver.now + period, example_router(16, 2, one));
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].output, 2U);
    EXPECT_EQ(seen[1].taken, nine);
    EXPECT_EQ(seen[1].kept, one);
}

TEST(Rollback, IsToldOnce) {
    looks driver;
    driver.see(one);
    driver.see(nine, 5);
    EXPECT_EQ(driver.see(one), 2U);
    EXPECT_EQ(driver.see(one, 5), 0U);
}

TEST(Rollback, SourceThatStaysIsNone) {
    looks driver;
    driver.see(one);
    EXPECT_EQ(driver.see(nine, 20), 0U);
}

TEST(Rollback, SourceTakenBackSoonerOrLaterIsNone) {
    looks driver;
    driver.see(one);
    driver.see(nine, 3);
    EXPECT_EQ(driver.see(one, 10), 0U);
    driver.see(nine, 9);
    EXPECT_EQ(driver.see(one), 0U);
}

TEST(Rollback, AnotherSourceThanTheOldOneIsNone) {
    looks driver;
    driver.see(one);
    driver.see(nine, 5);
    EXPECT_EQ(driver.see({2, 2}), 0U);
}

TEST(Rollback, SecondTakeOfAnOutputFallsBackToTheFirst) {
    looks driver;
    driver.see(one);
    driver.see(nine, 2);
    driver.see({2, 2}, 5);
    EXPECT_EQ(driver.see(nine), 2U);
}

TEST(Rollback, RareLooksAreJudgedByWhatMayHaveBeen) {
    looks driver;
    driver.see(one);
    driver.at(driver.now + 900000, example_router(16, 2, nine));
    // The take is from 0 to 0.9 s ago, so this one second is possible.
    EXPECT_EQ(driver.at(driver.now + 300000, example_router(16, 2, one)).size(), 2U);
}

TEST(Rollback, NothingIsComparedAcrossAChangeOfSize) {
    looks driver;
    driver.see(one);
    driver.see(nine, 4);
    driver.at(driver.now + period, std::nullopt);
    EXPECT_EQ(driver.see(one), 0U);
    driver.see(nine, 5);
    EXPECT_TRUE(driver.at(driver.now + period, example_router(16, 3, one)).empty());
}

TEST(Rollback, IsToldWithTheTakeThatWasNotConfirmed) {
    const change told = rolled_back({5, {9, 9}, {4, 0}});
    EXPECT_EQ(told.line, "output 5 rolled back: the take of 9 was not confirmed");
    EXPECT_EQ(json_line(told.object), R"({"change":"rollback","output":5,"taken":{"audio":9,"video":9},)"
                                      R"("kept":{"audio":4,"video":0}})");
}
