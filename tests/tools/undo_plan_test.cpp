#include "example_router.h"
#include "undo_plan.h"

#include <gtest/gtest.h>

namespace {

using vrdx::take_word;

constexpr std::uint64_t first_user = 1000;

vrdx::take_record record(std::uint64_t number, std::uint64_t process, int output, int before, int wanted,
                         take_word word = take_word::confirmed) {
    vrdx::take_record one;
    one.number = number;
    one.time_ms = 1000000 + number;
    one.way = "take";
    one.user = first_user;
    one.process = process;
    one.by = "desk";
    one.output = output;
    one.before = {before, before};
    one.wanted = {wanted, wanted};
    one.result.word = word;
    return one;
}

// A router whose outputs show what these takes took, as far as they were confirmed.
vrdx::router_picture shown_after(const std::vector<vrdx::take_record>& records) {
    vrdx::router_picture picture = example_router(9, 4);
    for (const auto& one : records)
        if (one.result.word == take_word::confirmed)
            picture.outputs[static_cast<std::size_t>(one.output) - 1].sources = one.wanted;
    return picture;
}

std::string undone(const undo_plan& plan) {
    std::string text;
    for (const planned_take& one : plan.takes)
        text += std::to_string(one.output) + ":" + std::to_string(one.before.audio) + ">" +
                std::to_string(one.after.audio) + (one.guarded ? " " : "! ");
    return text;
}

} // namespace

TEST(UndoPlan, TakesAgainWhatTheLastRequestReplaced) {
    const std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2), record(2, 11, 1, 2, 3),
                                                    record(3, 11, 2, 1, 5)};
    EXPECT_EQ(undone(plan_undo(records, first_user, "desk", shown_after(records))), "1:3>2 2:5>1 ");
}

TEST(UndoPlan, OtherUsersSignaturesAndWaysDoNotCount) {
    std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2), record(2, 11, 2, 1, 3),
                                              record(3, 12, 3, 1, 3), record(4, 13, 4, 1, 3)};
    records[1].user = 1001;
    records[2].by = "panel";
    records[3].way = "route";
    EXPECT_EQ(undone(plan_undo(records, first_user, "desk", shown_after(records))), "1:2>1 ");
}

TEST(UndoPlan, ProcessNumberOfLongAgoIsAnotherRequest) {
    std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2), record(2, 10, 2, 1, 3)};
    records[1].time_ms = records[0].time_ms + 120001;
    EXPECT_EQ(undone(plan_undo(records, first_user, "desk", shown_after(records))), "2:3>1 ");
}

TEST(UndoPlan, OutputTakenSinceStaysAndIsTold) {
    const std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2), record(2, 10, 2, 1, 3)};
    vrdx::router_picture picture = shown_after(records);
    picture.outputs[0].sources = {7, 7};
    const undo_plan plan = plan_undo(records, first_user, "desk", picture);
    EXPECT_EQ(undone(plan), "2:3>1 ");
    EXPECT_EQ(plan.skipped,
              (std::vector<std::string>{"output 1 \"Monitor 1\": it shows 7 \"Camera 7\" meanwhile, "
                                        "not the 2 \"Camera 2\" of your take"}));
}

TEST(UndoPlan, TakeThatSwitchedNothingNeedsNoUndoing) {
    const std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2, take_word::refused),
                                                    record(2, 10, 2, 1, 3, take_word::unknown)};
    const undo_plan plan = plan_undo(records, first_user, "desk", shown_after(records));
    EXPECT_TRUE(plan.found);
    EXPECT_TRUE(plan.takes.empty());
    EXPECT_TRUE(plan.skipped.empty());
}

TEST(UndoPlan, UnconfirmedTakeThatCameThroughIsUndone) {
    const std::vector<vrdx::take_record> records = {record(1, 10, 1, 1, 2, take_word::unknown)};
    vrdx::router_picture picture = example_router(9, 4);
    picture.outputs[0].sources = {2, 2};
    EXPECT_EQ(undone(plan_undo(records, first_user, "desk", picture)), "1:2>1 ");
}

TEST(UndoPlan, WhatNobodyKnewBeforeCannotComeBack) {
    const std::vector<vrdx::take_record> records = {record(1, 10, 1, vrdx::source_unknown, 2)};
    EXPECT_EQ(plan_undo(records, first_user, "desk", shown_after(records)).skipped,
              (std::vector<std::string>{"output 1 \"Monitor 1\": nobody knows what it showed before"}));
}

TEST(UndoPlan, WithoutTakesThereIsNothing) {
    EXPECT_FALSE(plan_undo({}, first_user, "desk", example_router(1, 1)).found);
}
