#include "gateway/audit/take_callers.h"

#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

constexpr std::int64_t now_us = 1700000000000000;

vrdx::output_take take_of(int output, int input) {
    return {output, {input, input}};
}

vrdx::take_record record_of(int output, int input, const std::string& by = "desk") {
    vrdx::take_record record;
    record.output = output;
    record.wanted = {input, input};
    record.by = by;
    return record;
}

const vrdx::take_result confirmed{vrdx::take_word::confirmed, "", {}};
const vrdx::take_result unknown{vrdx::take_word::unknown, "the connection broke", {}};

} // namespace

TEST(TakeCallers, RecordedTakeHasTheAddressOfItsCaller) {
    take_callers callers;
    callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3), take_of(2, 4)});
    callers.begin("studio", "other", {"192.0.2.2"}, {take_of(1, 3)});
    EXPECT_EQ(callers.caller_of("studio", record_of(2, 4)).address, "192.0.2.1");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3, "other")).address, "192.0.2.2");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).address, "192.0.2.1");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).address, "") << "each take is recorded once";
    EXPECT_EQ(callers.caller_of("gallery", record_of(1, 3)).address, "");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 5)).address, "");
}

TEST(TakeCallers, RecordedTakeHasTheWayOfItsCaller) {
    take_callers callers;
    callers.begin("studio", "desk", {"192.0.2.1", "front"}, {take_of(1, 3)});
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).through, "front");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).through, through_gateway) << "of nobody known";
}

TEST(TakeCallers, EqualTakesAreRecordedInTheirOrder) {
    take_callers callers;
    callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)});
    callers.begin("studio", "desk", {"192.0.2.2"}, {take_of(1, 3)});
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).address, "192.0.2.1");
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).address, "192.0.2.2");
}

TEST(TakeCallers, WhatIsWithheldIsAwaitedNoMoreAndTheOthersKeepTheirOrder) {
    take_callers callers;
    const auto some =
        callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3), take_of(2, 4), take_of(3, 5)});
    callers.withhold(some, 2);
    callers.withhold(some, 9);
    EXPECT_EQ(callers.open(), 2U);
    EXPECT_EQ(callers.caller_of("studio", record_of(2, 4)).address, "");
    callers.end(some, {confirmed, unknown}, now_us);
    EXPECT_EQ(callers.caller_of("studio", record_of(1, 3)).address, "192.0.2.1");
    const auto left = callers.left_over("studio");
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].output, 3);
    EXPECT_EQ(left[0].result, "unknown");
    const auto all = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)});
    callers.withhold(all, 1);
    EXPECT_EQ(callers.open(), 0U);
    callers.end(all, {}, now_us);
}

TEST(TakeCallers, AreForgottenOnceAnsweredAndRecordedInEitherOrder) {
    take_callers callers;
    const auto first = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)});
    const auto second = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(2, 3)});
    const auto unsent = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(3, 3)});
    EXPECT_EQ(callers.open(), 3U);
    callers.caller_of("studio", record_of(1, 3));
    callers.end(first, {confirmed}, now_us);
    callers.end(second, {confirmed}, now_us);
    callers.caller_of("studio", record_of(2, 3));
    callers.forget(unsent);
    EXPECT_EQ(callers.open(), 0U);
    EXPECT_TRUE(callers.left_over("studio").empty());
}

TEST(TakeCallers, WhatADriverNeverRecordedIsLeftOverAsItWasAnswered) {
    take_callers callers;
    const auto sent = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3), take_of(2, 4)});
    callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(5, 5)}); // not answered yet
    callers.caller_of("studio", record_of(1, 3));
    callers.end(sent, {unknown, unknown}, now_us);
    const auto entries = callers.left_over("studio");
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].output, 2);
    EXPECT_EQ(entries[0].after, "4");
    EXPECT_EQ(entries[0].by, "desk");
    EXPECT_EQ(entries[0].address, "192.0.2.1");
    EXPECT_EQ(entries[0].result, "unknown");
    EXPECT_EQ(entries[0].reason, "the connection broke");
    EXPECT_EQ(entries[0].time_us, now_us);
    EXPECT_EQ(entries[0].number, 0);
    EXPECT_EQ(callers.open(), 1U);
    EXPECT_TRUE(callers.left_over("studio").empty());
}

TEST(TakeCallers, AreBounded) {
    take_callers callers;
    for (std::size_t number = 0; number < history_callers_limit; ++number)
        ASSERT_NE(callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)}), 0U);
    EXPECT_EQ(callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)}), 0U);
    callers.end(0, {confirmed}, now_us); // nothing of that number
    callers.forget(0);
    EXPECT_EQ(callers.open(), history_callers_limit);
}

TEST(TakeCallers, WhatWasAnsweredLongAgoIsNotAwaitedForEver) {
    take_callers callers;
    const auto old = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(1, 3)});
    callers.end(old, {confirmed}, now_us);
    const auto later = callers.begin("studio", "desk", {"192.0.2.1"}, {take_of(2, 3)});
    callers.end(later, {confirmed}, now_us + static_cast<std::int64_t>(history_callers_time_us) + 1);
    EXPECT_EQ(callers.open(), 1U);
}
