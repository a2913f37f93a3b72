#include "client_limits.h"
#include "client_record.h"
#include "client_take.h"
#include "told_packets.h"

#include "../framework/packet_texts.h"

#include <gtest/gtest.h>

using vrdx::take_word;

namespace {

vrdx::take_order order_of(std::vector<vrdx::output_take> takes) {
    vrdx::take_order order;
    order.takes = std::move(takes);
    order.id = "1";
    return order;
}

} // namespace

TEST(TakeOrder, RequestHoldsTakesAndConditions) {
    vrdx::take_order order = order_of({{3, {2, 2}}, {4, {5, 0}}});
    order.within_ms = 500;
    order.by = "desk 3";
    order.expect = {{3, {1, 1}}, {4, {0, 7}}};
    EXPECT_EQ(order_problem(order), "");
    EXPECT_EQ(texts_of(read_back(take_request(order))),
              "C(take) A(3=2) A(4=5,0) E N(id|1) N(within|500) N(by|desk 3) N(expect|3=1 4=0,7)");
    EXPECT_EQ(texts_of(read_back(take_request(order_of({{1, {1, 1}}})))), "C(take) A(1=1) E N(id|1)");
    order = order_of({{1, {1, 1}}});
    order.until_ms = 5000000;
    EXPECT_EQ(texts_of(read_back(take_request(order))), "C(take) A(1=1) E N(id|1) N(until|5000000)");
}

TEST(TakeOrder, WhatNoDriverCanReadIsToldBeforehand) {
    const vrdx::take_order good = order_of({{1, {1, 1}}});
    vrdx::take_order order = good;
    order.id = "";
    EXPECT_NE(order_problem(order), "");
    order.id = std::string(65, 'i');
    EXPECT_NE(order_problem(order), "");
    order = good;
    order.within_ms = 99;
    EXPECT_NE(order_problem(order), "");
    order.within_ms = 60001;
    EXPECT_NE(order_problem(order), "");
    order = good;
    order.by = "a\nb";
    EXPECT_NE(order_problem(order), "");
    EXPECT_NE(order_problem(order_of({})), "");
    EXPECT_NE(order_problem(order_of({{1, {1, 1}}, {1, {2, 2}}})), "");
    EXPECT_NE(order_problem(order_of({{0, {1, 1}}})), "");
    EXPECT_NE(order_problem(order_of({{1, {vrdx::source_unknown, 1}}})), "");
    EXPECT_EQ(order_problem(good), "");
}

TEST(TakeAnswer, HoldsEachOutputsResultInOrder) {
    vrdx::take_answer answer;
    ASSERT_TRUE(vrdx::read_take_answer(told("take",
                                            {{"id", "desk-7"},
                                             {"epoch", first_epoch},
                                             {"output 9", "confirmed"},
                                             {"output 2", "shows 3,unknown"},
                                             {"output 3", "refused by the router: locked"},
                                             {"output 4", "replaced sent 1000 12 desk 2"},
                                             {"output 5", "replaced unsent 0 1"},
                                             {"output 6", "withdrawn not sent in time"},
                                             {"output 7", "unknown backend ended"},
                                             {"output 5000", "refused no such output"},
                                             {"output 8", "confirmedly new"}},
                                            1),
                                       &answer));
    EXPECT_EQ(answer.id, "desk-7");
    EXPECT_EQ(answer.epoch, first_epoch);
    EXPECT_FALSE(answer.all_confirmed);
    ASSERT_EQ(answer.results.size(), 9U);
    const auto expect = [&](std::size_t at, int output, take_word word, const char* text) {
        EXPECT_EQ(answer.results[at].output, output);
        EXPECT_EQ(answer.results[at].result.word, word);
        EXPECT_EQ(answer.results[at].result.text, text);
    };
    expect(0, 9, take_word::confirmed, "");
    expect(1, 2, take_word::shows, "3,unknown");
    EXPECT_EQ(answer.results[1].result.sources, (vrdx::level_sources{3, vrdx::source_unknown}));
    expect(2, 3, take_word::refused, "by the router: locked");
    expect(3, 4, take_word::replaced_sent, "1000 12 desk 2");
    expect(4, 5, take_word::replaced_unsent, "0 1");
    expect(5, 6, take_word::withdrawn, "not sent in time");
    expect(6, 7, take_word::unknown, "backend ended");
    expect(7, 5000, take_word::refused, "no such output");
    expect(8, 8, take_word::other, "confirmedly new");
}

TEST(TakeAnswer, AllAreConfirmedOnlyIfTheDriverSaysSoOfEach) {
    vrdx::take_answer answer;
    ASSERT_TRUE(vrdx::read_take_answer(told("take", {{"id", "1"}, {"output 1", "confirmed"}}), &answer));
    EXPECT_TRUE(answer.all_confirmed);
    ASSERT_TRUE(vrdx::read_take_answer(told("take", {{"id", "1"}, {"output 1", "confirmed"}}, 1), &answer));
    EXPECT_FALSE(answer.all_confirmed);
    ASSERT_TRUE(
        vrdx::read_take_answer(told("take", {{"id", "1"}, {"output 1", "refused link down"}}), &answer));
    EXPECT_FALSE(answer.all_confirmed);
    ASSERT_TRUE(vrdx::read_take_answer(told("take", {{"id", "1"}}), &answer));
    EXPECT_FALSE(answer.all_confirmed);
}

TEST(TakeAnswer, ErrorTellsWhatIsWrongWithTheOrder) {
    vrdx::take_answer answer;
    ASSERT_TRUE(vrdx::read_take_answer(told_error("output 1 twice", {{"id", "4"}}), &answer));
    EXPECT_EQ(answer.id, "4");
    EXPECT_EQ(answer.error, "output 1 twice");
    EXPECT_FALSE(vrdx::read_take_answer(told("status", {}), &answer));
}

TEST(TakeAnswer, ResultsAndTextsAreBounded) {
    told_entries entries{
        {"id", "1"}, {"output 1", "refused " + std::string(9000, 'r')}, {"output x", "confirmed"}};
    for (int i = 0; i < 3000; ++i)
        entries.emplace_back("output 1", "confirmed");
    vrdx::take_answer answer;
    ASSERT_TRUE(vrdx::read_take_answer(told("take", entries), &answer));
    EXPECT_EQ(answer.results.size(), vrdx::takes_per_order_limit);
    EXPECT_EQ(answer.results[0].result.text.size(), vrdx::picture_text_limit);
}

TEST(TakeRecords, GroupsAreReadInOrder) {
    std::vector<vrdx::take_record> records;
    std::uint64_t next = 0;
    ASSERT_TRUE(vrdx::add_record_page(told("describe", {{"epoch", first_epoch},
                                                        {"last take", "5"},
                                                        {"take", "4"},
                                                        {"time", "1700000000000"},
                                                        {"way", "route"},
                                                        {"user", "1000"},
                                                        {"pid", "77"},
                                                        {"output", "3"},
                                                        {"level", "all"},
                                                        {"from", "unknown,unknown"},
                                                        {"to", "2,2"},
                                                        {"result", "shows 1,1"},
                                                        {"milliseconds", "1000"},
                                                        {"take", "5"},
                                                        {"way", "take"},
                                                        {"by", "desk 3"},
                                                        {"level", "video,audio"},
                                                        {"from", "1,1"},
                                                        {"to", "2,0"},
                                                        {"result", "confirmed"},
                                                        {"mood", "good"},
                                                        {"next", "6"}}),
                                      &records, &next));
    EXPECT_EQ(next, 6U);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].number, 4U);
    EXPECT_EQ(records[0].time_ms, 1700000000000U);
    EXPECT_EQ(records[0].way, "route");
    EXPECT_EQ(records[0].user, 1000U);
    EXPECT_EQ(records[0].process, 77U);
    EXPECT_EQ(records[0].by, "");
    EXPECT_EQ(records[0].output, 3);
    EXPECT_FALSE(records[0].split_levels);
    EXPECT_EQ(records[0].before, vrdx::level_sources());
    EXPECT_EQ(records[0].wanted, (vrdx::level_sources{2, 2}));
    EXPECT_EQ(records[0].result.word, take_word::shows);
    EXPECT_EQ(records[0].result.sources, (vrdx::level_sources{1, 1}));
    EXPECT_EQ(records[0].milliseconds, 1000U);
    EXPECT_EQ(records[1].by, "desk 3");
    EXPECT_TRUE(records[1].split_levels);
    EXPECT_EQ(records[1].wanted, (vrdx::level_sources{2, 0}));
}

TEST(TakeRecords, EntriesOutsideAGroupAndGroupsWithoutANumberAreSkipped) {
    std::vector<vrdx::take_record> records;
    vrdx::read_take_records(told("takes", {{"output", "3"}, {"take", "x"}, {"output", "4"}, {"take", "1"}}),
                            &records);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].output, 0);
}

TEST(TakeRecords, AreBounded) {
    const told_entries entries(6000, {"take", "1"});
    std::vector<vrdx::take_record> records;
    vrdx::read_take_records(told("takes", entries), &records);
    EXPECT_EQ(records.size(), vrdx::take_records_per_packet_limit);
}
